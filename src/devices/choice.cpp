// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "choice.h"

#include "failure.h"
#include "process.h"

#include <unistd.h>

void Choose(const std::vector<Drive>& drives, const Drive* rev, const Drive* disk, bool byPlace)
{
    Ties ties = Ties::Read();
    if (rev != nullptr)
        ties.rev = TieOf(*rev, byPlace);
    if (disk != nullptr)
        ties.disk = TieOf(*disk, byPlace);
    const Roles roles = Decide(drives, ties);
    if (rev != nullptr && roles.rev.drive != rev)
        throw Failure(
            ExitStatus::Refused, "/dev/" + rev->name + " cannot be the REV drive: " + roles.rev.remark.Text());
    if (disk != nullptr && roles.disk.drive != disk)
        throw Failure(
            ExitStatus::Refused, "/dev/" + disk->name + " cannot be the hard disk: " + roles.disk.remark.Text());
    ties.Write();
}

void Apply(const std::vector<Drive>& drives, const Roles& roles)
{
    if (!UdevRuns()) {
        Warn("udev does not run here; the links in /dev follow when it does");
        return;
    }
    constexpr int most = 5;
    for (int tries = 0; tries < most; ++tries) {
        RefreshLinks(drives, roles);
        SettleUdev();
        if (LinksAreRight(drives, roles))
            return;
        StopRequest::Check();
        usleep(200000);
    }
    throw Failure(ExitStatus::Failed,
        "the links in /dev do not follow: a disk is locked by another program, a node of the name is in the way, or "
        "the "
        "udev rule is missing; see the journal of udev");
}
