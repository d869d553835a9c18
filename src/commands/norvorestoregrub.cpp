// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

// norvoRestoreGrub: makes sure that the disk just restored can start, with the image set's folder as working directory.
//
// GRUB is installed again as the image set has it, or where that wouldn't start the disk, anew, for BIOS and, where
// there is an EFI system partition, for UEFI: on a replacement disk, or from a set of other makers, the gap behind the
// boot sector with GRUB's core may be missing. Of what else starts the disk nothing is changed when it came back whole.
// Swap areas, which were made anew, get the identities of the saved ones back.

#include "authenticity.h"
#include "command.h"
#include "failure.h"
#include "grubrepair.h"
#include "lock.h"
#include "mountspace.h"
#include "runrecord.h"
#include "swapidentity.h"
#include "use.h"

#include <optional>

namespace {
constexpr char diskName[] = "hdc";
constexpr char asSaved[] = ": GRUB reinstalled as it was saved";

/** With nothing to look into or to install from, what was saved is all there is to go by. */
void JudgeHidden(const Device& disk, const std::vector<DiskPartition>& partitions, const Findings& findings,
    const TableFile& saved, bool reinstalled)
{
    const std::string where = HiddenPartitions(partitions).front();
    const BootNeeds needs = BootNeeds::Of(disk, partitions, findings);
    if ((needs.bios && !IsBootTrackAsSaved(disk, saved)) || (needs.uefi && !findings.loaders.any)) {
        throw Failure(ExitStatus::Refused,
            disk.path + ": nothing shows that the boot loader is whole, and the system on " + where
                + " (LVM, RAID or encrypted) cannot be opened to repair it; run grub-install in it from a rescue "
                  "system");
    }
    Say(disk.name + (reinstalled ? asSaved : ": the boot loader is as it was saved") + "; the system on " + where
        + " (LVM, RAID or encrypted) cannot be looked into");
    if (needs.uefi && !needs.bios && !findings.loaders.removable)
        Warn(disk.path + ": on another machine the firmware has to be told of the boot loader");
}

/** As it was saved, where that starts what is on the disk; a system that has another GRUB since gets that. */
void RestoreBootLoader(
    const Device& disk, const std::vector<DiskPartition>& partitions, Findings findings, const TableFile& saved)
{
    const bool hidden = !findings.system && !HiddenPartitions(partitions).empty();
    const bool reinstalled = (hidden || findings.savedWhole) && ReinstallSavedGrub(disk, saved);
    if (reinstalled && !findings.biosWhole)
        findings = LookAtDisk(disk, partitions, saved);
    if (hidden)
        JudgeHidden(disk, partitions, findings, saved, reinstalled);
    else if (findings.system && BootNeeds::Of(disk, partitions, findings).AreMet(findings))
        Say(disk.name + (reinstalled ? asSaved : ": the boot loader came back whole, nothing to repair"));
    else
        Say(disk.name + ": GRUB installed " + RepairBootLoader(disk, partitions, findings, saved));
}
} // namespace

int main(int argc, char** argv)
{
    return RunCommandMain(argc, argv, "", [](const std::vector<std::string>& /*arguments*/) {
        RunRecord::Expect(diskName);
        Device disk = Device::Find(diskName);
        const DiskLock lock(disk);
        const std::string tablePath = FindSavedTable(".", disk.name);
        if (!tablePath.empty())
            RunRecord::Begin(tablePath, disk, disk.name, {"grub-install"});
        Introduce(disk);
        RefuseUse(disk, Access::Write);
        const TableFile saved = ReadSavedTable(".", disk.name);
        if (!saved.disk.empty()) {
            JudgeAuthenticity(
                disk.name + ": what the image set has of the boot loader", [&](const Authentication& key) {
                    return key.FaultOf(saved, tablePath);
                });
        }
        const std::vector<DiskPartition> partitions = FindPartitions(disk);
        EnterMountSpace();
        const Findings findings = LookAtDisk(disk, partitions, saved);
        std::optional<Failure> failed;
        try {
            RestoreBootLoader(disk, partitions, findings, saved);
        } catch (const Failure& failure) {
            failed = failure;
        }
        // Also for a system that is going to be started by other means.
        try {
            RestoreSwapIdentities(partitions, saved, findings.system ? findings.system->fstab : Fstab());
        } catch (const Failure& failure) {
            if (!failed)
                throw;
            Warn(failure.what());
        }
        if (failed)
            throw *failed;
    });
}
