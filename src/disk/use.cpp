// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "use.h"

#include "descriptor.h"
#include "failure.h"
#include "mounts.h"
#include "process.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <set>

#include <fcntl.h>
#include <libmount.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace {
constexpr char revMountPoint[] = "/mnt/rev";
constexpr int busyTries = 40; // of 50 ms each

Remark UseOf(const Uses& uses, dev_t device, Access access)
{
    if (uses.swaps.count(device) != 0)
        return Remark("it is used as swap; switch it off with swapoff");
    for (const Mount& mount : uses.mounts) {
        if (mount.device == device && mount.writable)
            return Remark("it is mounted for writing at %1; unmount it", {mount.point});
    }
    for (const Mount& mount : uses.mounts) {
        if (mount.device == device && access == Access::Write)
            return Remark("it is mounted at %1; unmount it", {mount.point});
    }
    return {};
}

/** The volume group in the name of a logical volume's device: "group-volume", where a hyphen of theirs is doubled. */
std::string VolumeGroup(const std::string& name)
{
    std::string group;
    for (size_t i = 0; i < name.size(); ++i) {
        if (name[i] == '-' && (i + 1 == name.size() || name[i + 1] != '-'))
            break;
        if (name[i] == '-')
            ++i;
        group += name[i];
    }
    return group;
}

/** Which device is built on it, and what releases it. */
Remark HolderText(dev_t holder)
{
    const std::string kernelName = KernelName(holder);
    const std::string name = FirstLine(SysFolder(holder) + "/dm/name");
    const std::string kind = FirstLine(SysFolder(holder) + "/dm/uuid");
    const auto released = [](const Remark& built, const std::string& command) {
        return Remark("%1; release it with: %2", {built, command});
    };
    if (kind.rfind("LVM-", 0) == 0)
        return released(Remark("the logical volume %1 is built on it", {name}), "vgchange -an " + VolumeGroup(name));
    if (kind.rfind("CRYPT-", 0) == 0)
        return released(Remark("the encrypted device %1 is built on it", {name}), "cryptsetup close " + name);
    if (!name.empty())
        return released(Remark("the device-mapper device %1 is built on it", {name}), "dmsetup remove " + name);
    if (std::filesystem::exists(SysFolder(holder) + "/loop"))
        return released(Remark("the loop device %1 is built on it", {kernelName}), "losetup -d /dev/" + kernelName);
    if (std::filesystem::exists(SysFolder(holder) + "/md"))
        return released(Remark("the RAID device %1 is built on it", {kernelName}), "mdadm --stop /dev/" + kernelName);
    return Remark("the device %1 is built on it", {kernelName});
}

/** Of the device and all that is built on it. */
Remark UseOfAll(const Uses& uses, dev_t device, Access access)
{
    Remark use = UseOf(uses, device, access);
    for (const dev_t holder : HoldersOf(device)) {
        if (!use.IsEmpty())
            break;
        use = UseOf(uses, holder, access);
        if (!use.IsEmpty())
            use = Remark("%1, where %2", {HolderText(holder), use});
        else if (access == Access::Write)
            use = HolderText(holder);
    }
    return use;
}

/** Mounts that this process cannot see still hold the device exclusively. */
bool IsHeld(const Device& device)
{
    for (int tries = 0; tries < busyTries; ++tries) {
        if (Descriptor::Open(device.path, O_RDONLY | O_EXCL) || errno != EBUSY)
            return false;
        StopRequest::Check();
        usleep(50000); // a desktop that looks at new disks holds them for a moment
    }
    return true;
}

void RefuseReadOnly(const Device& device)
{
    const Descriptor node = Descriptor::Open(device.path, O_RDONLY);
    int readOnly = 0;
    if (node && ioctl(node.Get(), BLKROGET, &readOnly) == 0 && readOnly != 0)
        throw Failure(ExitStatus::Refused,
            Remark("%1 is write-protected; take the protection off and start again", {device.path}));
}
} // namespace

void RefuseUse(const Device& device, Access access)
{
    if (device.number == 0)
        return;
    if (access == Access::Write)
        RefuseReadOnly(device);
    const Uses uses = FindUses();
    std::vector<dev_t> family = {device.number};
    for (const KernelPartition& partition : KernelPartitions(device.number))
        family.push_back(partition.device);
    bool explained = false;
    for (const dev_t member : family) {
        const Remark use = UseOfAll(uses, member, access);
        if (!use.IsEmpty()) {
            const std::string which
                = member == device.number ? device.path : device.path + " (" + KernelName(member) + ")";
            throw Failure(ExitStatus::Refused, Remark("%1 is in use: %2 and start again", {which, use}));
        }
        explained = explained || !UseOfAll(uses, member, Access::Write).IsEmpty();
    }
    if (!explained && IsHeld(device))
        throw Failure(
            ExitStatus::Refused, Remark("%1 is in use by another program; release it and start again", {device.path}));
}

bool IsMounted(const Device& device)
{
    if (device.number == 0)
        return false;
    const Uses uses = FindUses();
    for (const Mount& mount : uses.mounts) {
        if (mount.device == device.number)
            return true;
    }
    return false;
}

void NeedRevDisk(const std::string& folder)
{
    std::error_code error;
    const std::filesystem::path path = std::filesystem::weakly_canonical(folder.empty() ? "." : folder, error);
    const std::filesystem::path root = std::filesystem::weakly_canonical(revMountPoint, error);
    if (std::distance(root.begin(), std::mismatch(root.begin(), root.end(), path.begin(), path.end()).first)
        != std::distance(root.begin(), root.end()))
        return;
    const MountTable table(mnt_new_table_from_file("/proc/self/mountinfo"));
    if (!table || mnt_table_find_target(table.get(), root.c_str(), MNT_ITER_BACKWARD) == nullptr) {
        throw Failure(ExitStatus::Refused,
            folder + ": no REV disk is mounted at " + root.string()
                + "; mount it, else this machine's own disk would be filled");
    }
}
