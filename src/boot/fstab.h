// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "contents.h"
#include "device.h"

#include <set>
#include <string>
#include <vector>

/** A partition of the restored disk. */
struct DiskPartition
{
    unsigned number = 0;
    Device device;
    Contents contents;

    /** What holds UEFI boot loaders. */
    [[nodiscard]] bool IsEfiSystem() const;
    /** Where GRUB for BIOS keeps its core on a GPT disk. */
    [[nodiscard]] bool IsBiosBoot() const;
};

/** All partitions, by number. A Failure with `Refused` when a node in /dev leads to another one than its name says. */
std::vector<DiskPartition> FindPartitions(const Device& disk);

/** An entry of a file system table. */
struct FstabEntry
{
    std::string source;    ///< as it stands there
    std::string tag;       ///< "UUID", "LABEL", "PARTUUID" or "PARTLABEL", also for a link in /dev/disk that says it
    std::string value;     ///< of that tag
    std::string point;     ///< where it is mounted; of no meaning for swap
    std::string subvolume; ///< option that selects a btrfs subvolume, as "subvol=@"; empty where it has none
    bool swap = false;
    bool optional = false; ///< the system starts without it
};

/** The file system table of the restored system. */
class Fstab
{
public:
    std::vector<FstabEntry> entries;

    /** Empty where there is no such file, or one of over 1 MiB; lines that are not understood are left out. */
    static Fstab Read(const std::string& path);

    /**
     * The partition of this disk that an entry means; a null pointer where there is none. Other disks are not asked:
     * the machine may hold a second disk with the same contents. Where the entry names the partition by its number on a
     * disk, it is that number on this disk, unless the root's entry shows another disk to be meant.
     */
    [[nodiscard]] const DiskPartition* Find(
        const FstabEntry& entry, const std::vector<DiskPartition>& partitions) const;

    /** The btrfs subvolume of the root, as a path with a leading "/"; empty where it is the topmost or none is named.
     */
    [[nodiscard]] std::string RootSubvolume() const;

private:
    std::set<std::string> rootDisks; ///< those on which entries name the root by its partition's number
};
