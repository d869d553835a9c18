// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "systemuse.h"

#include "failure.h"

#include <algorithm>
#include <sstream>

namespace {
/** Whether a system that runs has something of its own there. */
bool IsSystemPlace(const std::string& point)
{
    static const std::set<std::string> places
        = {"/", "/usr", "/boot", "/boot/efi", "/efi", "/home", "/var", "/srv", "/opt", "/cdrom"};
    constexpr const char* media[]
        = {"/run/live/", "/lib/live/", "/usr/lib/live/", "/run/initramfs/"}; // of live systems
    return places.count(point) != 0 || std::any_of(std::begin(media), std::end(media), [&point](const char* folder) {
        return point.rfind(folder, 0) == 0;
    });
}

/** What is plugged in and taken away again. */
bool IsGuestPlace(const std::string& point)
{
    return point.rfind("/mnt", 0) == 0 || point.rfind("/media", 0) == 0;
}

/** A disk, its partitions and what is built on them, each with its name: that of the part of the disk. */
std::vector<std::pair<dev_t, std::string>> FamilyOf(dev_t disk)
{
    std::vector<std::pair<dev_t, std::string>> family;
    std::vector<dev_t> parts = {disk};
    for (const KernelPartition& partition : KernelPartitions(disk))
        parts.push_back(partition.device);
    for (const dev_t part : parts) {
        family.emplace_back(part, KernelName(part));
        for (const dev_t holder : HoldersOf(part))
            family.emplace_back(holder, KernelName(part));
    }
    return family;
}

/** The identifier of the medium that this PC was started from, where it is the product's own. */
std::string StartMedium()
{
    std::istringstream parameters(FirstLine("/proc/cmdline"));
    const std::string name = "norvo.medium=";
    for (std::string word; parameters >> word;) {
        if (word.rfind(name, 0) == 0)
            return word.substr(name.size());
    }
    return {};
}

void AddOnce(std::vector<Remark>& uses, const Remark& use)
{
    const bool isKnown = std::any_of(uses.begin(), uses.end(), [&use](const Remark& known) {
        return known.Text() == use.Text();
    });
    if (!isKnown)
        uses.push_back(use);
}
} // namespace

SystemUse::SystemUse()
    : now(FindUses())
    , fstab(FindFstabUses())
    , medium(StartMedium())
{
}

std::vector<Remark> SystemUse::Of(dev_t disk) const
{
    std::vector<Remark> uses;
    for (const auto& [device, name] : FamilyOf(disk)) {
        if (now.swaps.count(device) != 0)
            AddOnce(uses, Remark("%1 is used as swap", {name}));
        for (const Mount& mount : now.mounts) {
            if (mount.device == device)
                AddOnce(uses, Remark("%1 is mounted at %2", {name, mount.point}));
        }
    }
    return uses;
}

Remark SystemUse::SystemOn(dev_t disk, UdevDevice::Source source) const
{
    for (const auto& [device, name] : FamilyOf(disk)) {
        for (const Mount& mount : now.mounts) {
            if (mount.device == device && IsSystemPlace(mount.point))
                return Remark("%1 is mounted at %2", {name, mount.point});
        }
        for (const Mount& mount : fstab.mounts) {
            if (mount.device == device && !IsGuestPlace(mount.point))
                return Remark("%1 is for %2 in /etc/fstab", {name, mount.point});
        }
        if (fstab.swaps.count(device) != 0)
            return Remark("%1 is for swap in /etc/fstab", {name});
    }
    // Once it was copied to memory, nothing of it is mounted.
    const std::string name = KernelName(disk);
    if (!medium.empty() && UdevDevice(disk, source).Property("ID_FS_UUID") == medium)
        return Remark("%1 is the stick that this PC was started from", {name});
    return {};
}

void RefuseSystemDisk(const Device& disk)
{
    const Remark use = disk.number == 0 ? Remark() : SystemUse().SystemOn(WholeDisk(disk.number));
    if (!use.IsEmpty()) {
        throw Failure(ExitStatus::Refused,
            Remark("%1 is the disk that the running system is on (%2); %3", {disk.path, use, std::string(tieAnother)}));
    }
}
