// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "choice.h"

#include "failure.h"
#include "process.h"

#include <unistd.h>

Ties ChosenTies(const std::vector<Drive>& drives, const Drive* rev, const Drive* disk, bool byPlace)
{
    Ties ties = Ties::Read();
    if (rev != nullptr)
        ties.rev = TieOf(*rev, byPlace);
    if (disk != nullptr)
        ties.disk = TieOf(*disk, byPlace);
    const Roles roles = Decide(drives, ties);
    if (rev != nullptr && roles.rev.drive != rev)
        throw Failure(
            ExitStatus::Refused, Remark("%1 cannot be the REV drive: %2", {"/dev/" + rev->name, roles.rev.remark}));
    if (disk != nullptr && roles.disk.drive != disk)
        throw Failure(
            ExitStatus::Refused, Remark("%1 cannot be the hard disk: %2", {"/dev/" + disk->name, roles.disk.remark}));
    return ties;
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
        Remark("the links in /dev do not follow: a disk is locked by another program, a node of the name is in the "
               "way, or the udev rule is missing; see the journal of udev"));
}
