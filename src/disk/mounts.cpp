// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "mounts.h"

#include "device.h"

#include <algorithm>
#include <filesystem>
#include <functional>

#include <blkid.h>

namespace {
void ForEach(libmnt_table* table, const std::function<void(libmnt_fs*)>& visit)
{
    libmnt_iter* iterator = mnt_new_iter(MNT_ITER_FORWARD);
    libmnt_fs* entry = nullptr;
    while (table != nullptr && mnt_table_next_fs(table, iterator, &entry) == 0)
        visit(entry);
    mnt_free_iter(iterator);
}

/** Of a text of libmount, which may be a null pointer. */
dev_t NumberOf(const char* path)
{
    return path == nullptr ? 0 : BlockNumber(path);
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
        mount.device = NumberOf(mnt_fs_get_srcpath(entry));
        if (mount.device != 0)
            mounts.push_back(mount);
    });
}

/** The members of a btrfs, of which the mount tables name one. */
void AddBtrfsMembers(std::vector<Mount>& mounts)
{
    std::error_code error;
    for (const auto& system : std::filesystem::directory_iterator("/sys/fs/btrfs", error)) {
        std::set<dev_t> members;
        for (const auto& member : std::filesystem::directory_iterator(system.path() / "devices", error))
            members.insert(ParseNumber(FirstLine(member.path() / "dev")));
        bool writable = false;
        std::set<dev_t> unnamed = members;
        for (const Mount& mount : mounts) {
            writable = writable || (mount.writable && members.count(mount.device) > 0);
            unnamed.erase(mount.device);
        }
        writable = writable || unnamed == members; // who has mounted it isn't seen
        for (const dev_t device : unnamed)
            mounts.push_back({device, writable, "a member of a mounted btrfs of several devices"});
    }
}

/** The loop devices on it, which the kernel doesn't count as its holders. */
std::vector<dev_t> LoopsOn(dev_t device)
{
    std::vector<dev_t> loops;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/sys/block", error)) {
        const std::string file = FirstLine(entry.path() / "loop" / "backing_file");
        if (!file.empty() && BlockNumber(file) == device)
            loops.push_back(ParseNumber(FirstLine(entry.path() / "dev")));
    }
    return loops;
}

/** The device that a line of fstab names, by name or by a tag as UUID=; 0 where there is none now. */
dev_t FstabDevice(libmnt_fs* entry)
{
    constexpr std::pair<const char*, const char*> folders[]
        = {{"UUID", "uuid"}, {"LABEL", "label"}, {"PARTUUID", "partuuid"}, {"PARTLABEL", "partlabel"}};
    const char* tag = nullptr;
    const char* value = nullptr;
    if (mnt_fs_get_tag(entry, &tag, &value) != 0)
        return NumberOf(mnt_fs_get_source(entry));
    // udev's links, not libblkid: that would read every disk in search of the tag.
    for (const auto& [name, folder] : folders) {
        char encoded[1024];
        if (std::string(tag) == name && blkid_encode_string(value, encoded, sizeof encoded) == 0)
            return BlockNumber(std::string("/dev/disk/by-") + folder + "/" + encoded);
    }
    return 0;
}
} // namespace

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
            uses.swaps.insert(NumberOf(mnt_fs_get_srcpath(entry)));
        });
    }
    uses.swaps.erase(0);
    return uses;
}

Uses FindFstabUses()
{
    Uses uses;
    const MountTable table(mnt_new_table_from_file("/etc/fstab"));
    ForEach(table.get(), [&uses](libmnt_fs* entry) {
        const char* options = mnt_fs_get_options(entry);
        const dev_t device = FstabDevice(entry);
        if (device == 0 || (options != nullptr && mnt_optstr_get_option(options, "noauto", nullptr, nullptr) == 0))
            return;
        if (mnt_fs_is_swaparea(entry) == 1)
            uses.swaps.insert(device);
        else
            uses.mounts.push_back({device, true, mnt_fs_get_target(entry)});
    });
    return uses;
}

std::vector<dev_t> HoldersOf(dev_t device)
{
    std::vector<dev_t> direct = LoopsOn(device);
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(SysFolder(device) + "/holders", error))
        direct.push_back(ParseNumber(FirstLine(entry.path() / "dev")));
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
