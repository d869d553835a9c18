// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "device.h"

#include <functional>

/** What libblkid finds on a device. */
struct Contents
{
    std::string type;  ///< file system, swap or RAID member, as "ext4"; "unknown" where nothing or too much is found
    std::string uuid;  ///< its identifiers
    std::string label; ///< its bytes as they are
    bool isAmbivalent = false;  ///< what is there looks like several things at once, so that `type` is unknown
    std::string partitionTable; ///< "dos", "gpt" and so on, where the device has one
    std::string entryType;      ///< of the partition that the device is: "0x83" or a GUID in small letters
    std::string entryUuid;
    std::string entryName;
};

Contents ProbeContents(const Device& device);

/** A partition as the table on the medium has it, whether the kernel knows it or not; in bytes. */
struct FoundPartition
{
    int number = 0;
    uint64_t start = 0;
    uint64_t size = 0;
    std::string type; ///< of what is in it, as in Contents
    std::string label;
};

/** Of a disk's table, at most `most`; extended ones are left out. */
std::vector<FoundPartition> ProbePartitions(const Device& disk, size_t most);

/**
 * Whether there are partitions within it, by a table of any kind or for the kernel: the slices of a Sun or a BSD, whose
 * first one may begin where the whole does, so that its file system is found there as if it were all.
 */
bool HoldsPartitions(const Device& device);

/** Clears every signature on the device: nothing takes it for a file system any more. */
void WipeSignatures(const Device& device);

/**
 * Clears what says of the whole disk what it is, as a RAID's mark at its end, as far as it is in this partition, which
 * begins at `begin` bytes. The disk isn't opened for writing: its links would vanish for a while.
 */
void WipeDiskSignatures(const Device& disk, const Device& partition, uint64_t begin);

/** Clears the signatures that `keep` doesn't want kept; it gets their offset in bytes. */
void ClearSignatures(const Device& device, const std::function<bool(uint64_t)>& keep);
