// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "use.h"

#include "descriptor.h"
#include "failure.h"
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

struct TableDelete
{
    void operator()(libmnt_table* table) const
    {
        mnt_unref_table(table);
    }
};
using MountTable = std::unique_ptr<libmnt_table, TableDelete>;

struct Mount
{
    dev_t device = 0;
    bool writable = false;
    std::string point;
};

struct Uses
{
    std::vector<Mount> mounts;
    std::set<dev_t> swaps;
};

void ForEach(libmnt_table* table, const std::function<void(libmnt_fs*)>& visit)
{
    libmnt_iter* iterator = mnt_new_iter(MNT_ITER_FORWARD);
    libmnt_fs* entry = nullptr;
    while (table != nullptr && mnt_table_next_fs(table, iterator, &entry) == 0)
        visit(entry);
    mnt_free_iter(iterator);
}

dev_t BlockNumber(const char* path)
{
    struct stat status = {};
    return path != nullptr && stat(path, &status) == 0 && S_ISBLK(status.st_mode) ? status.st_rdev : 0;
}

/** A btrfs has a number of its own, so what was mounted counts as well. */
void AddMounts(const std::string& process, std::vector<Mount>& mounts)
{
    const MountTable table(mnt_new_table_from_file((process + "/mountinfo").c_str()));
    ForEach(table.get(), [&mounts](libmnt_fs* entry) {
        Mount mount;
        const char* options = mnt_fs_get_fs_options(entry);
        mount.writable = options == nullptr || mnt_optstr_get_option(options, "ro", nullptr, nullptr) != 0;
        mount.point = mnt_fs_get_target(entry);
        mount.device = mnt_fs_get_devno(entry);
        mounts.push_back(mount);
        mount.device = BlockNumber(mnt_fs_get_srcpath(entry));
        if (mount.device != 0)
            mounts.push_back(mount);
    });
}

/** The number in a file "dev" in /sys; 0 where there is none. */
dev_t NumberIn(const std::filesystem::path& file)
{
    unsigned major = 0;
    unsigned minor = 0;
    return sscanf(FirstLine(file).c_str(), "%u:%u", &major, &minor) == 2 ? makedev(major, minor) : 0;
}

/** The members of a btrfs, of which the mount tables name one. */
void AddBtrfsMembers(std::vector<Mount>& mounts)
{
    std::error_code error;
    for (const auto& system : std::filesystem::directory_iterator("/sys/fs/btrfs", error)) {
        for (const auto& member : std::filesystem::directory_iterator(system.path() / "devices", error)) {
            const dev_t device = NumberIn(member.path() / "dev");
            bool known = false;
            bool writable = false;
            for (const Mount& mount : mounts) {
                known = known || mount.device == device;
                writable = writable || mount.writable;
            }
            if (!known)
                mounts.push_back({device, writable, "a member of a mounted btrfs of several devices"});
        }
    }
}

Uses FindUses()
{
    Uses uses;
    std::set<std::string> seen;
    AddMounts("/proc/self", uses.mounts);
    seen.insert(std::filesystem::read_symlink("/proc/self/ns/mnt"));
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
        const std::string space = std::filesystem::read_symlink(entry.path() / "ns" / "mnt", error);
        if (!space.empty() && seen.insert(space).second)
            AddMounts(entry.path(), uses.mounts);
    }
    AddBtrfsMembers(uses.mounts);
    const MountTable swaps(mnt_new_table());
    if (mnt_table_parse_swaps(swaps.get(), nullptr) == 0) {
        ForEach(swaps.get(), [&uses](libmnt_fs* entry) {
            uses.swaps.insert(BlockNumber(mnt_fs_get_srcpath(entry)));
        });
    }
    uses.swaps.erase(0);
    return uses;
}

/** The loop devices on it, which the kernel doesn't count as its holders. */
std::vector<dev_t> LoopsOn(dev_t device)
{
    std::vector<dev_t> loops;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/sys/block", error)) {
        const std::string file = FirstLine(entry.path() / "loop" / "backing_file");
        if (!file.empty() && BlockNumber(file.c_str()) == device)
            loops.push_back(NumberIn(entry.path() / "dev"));
    }
    return loops;
}

/** The devices built on that one, at all levels, the highest first. */
std::vector<dev_t> HoldersOf(dev_t device)
{
    std::vector<dev_t> direct = LoopsOn(device);
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(SysFolder(device) + "/holders", error))
        direct.push_back(NumberIn(entry.path() / "dev"));
    std::vector<dev_t> holders;
    direct.erase(std::remove(direct.begin(), direct.end(), 0), direct.end());
    for (const dev_t holder : direct) {
        const std::vector<dev_t> above = HoldersOf(holder);
        holders.insert(holders.end(), above.begin(), above.end());
        for (const KernelPartition& partition : KernelPartitions(holder))
            holders.push_back(partition.device);
        holders.push_back(holder);
    }
    return holders;
}

std::string UseOf(const Uses& uses, dev_t device, Access access)
{
    if (uses.swaps.count(device) != 0)
        return "it is used as swap; switch it off with swapoff";
    for (const Mount& mount : uses.mounts) {
        if (mount.device == device && mount.writable)
            return "it is mounted for writing at " + mount.point + "; unmount it";
    }
    for (const Mount& mount : uses.mounts) {
        if (mount.device == device && access == Access::Write)
            return "it is mounted at " + mount.point + "; unmount it";
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
std::string HolderText(dev_t holder)
{
    const std::string kernelName = KernelName(holder);
    const std::string name = FirstLine(SysFolder(holder) + "/dm/name");
    const std::string kind = FirstLine(SysFolder(holder) + "/dm/uuid");
    if (kind.rfind("LVM-", 0) == 0)
        return "the logical volume " + name + " is built on it; release it with: vgchange -an " + VolumeGroup(name);
    if (kind.rfind("CRYPT-", 0) == 0)
        return "the encrypted device " + name + " is built on it; release it with: cryptsetup close " + name;
    if (!name.empty())
        return "the device-mapper device " + name + " is built on it; release it with: dmsetup remove " + name;
    if (std::filesystem::exists(SysFolder(holder) + "/loop"))
        return "the loop device " + kernelName + " is built on it; release it with: losetup -d /dev/" + kernelName;
    if (std::filesystem::exists(SysFolder(holder) + "/md"))
        return "the RAID device " + kernelName + " is built on it; release it with: mdadm --stop /dev/" + kernelName;
    return "the device " + kernelName + " is built on it";
}

/** Of the device and all that is built on it. */
std::string UseOfAll(const Uses& uses, dev_t device, Access access)
{
    std::string use = UseOf(uses, device, access);
    for (const dev_t holder : HoldersOf(device)) {
        if (!use.empty())
            break;
        use = UseOf(uses, holder, access);
        if (!use.empty())
            use = HolderText(holder) + ", where " + use;
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
        throw Failure(
            ExitStatus::Refused, device.path + " is write-protected; take the protection off and start again");
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
        const std::string use = UseOfAll(uses, member, access);
        if (!use.empty()) {
            const std::string which
                = member == device.number ? device.path : device.path + " (" + KernelName(member) + ")";
            throw Failure(ExitStatus::Refused, which + " is in use: " + use + " and start again");
        }
        explained = explained || !UseOfAll(uses, member, Access::Write).empty();
    }
    if (!explained && IsHeld(device))
        throw Failure(ExitStatus::Refused, device.path + " is in use by another program; release it and start again");
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
