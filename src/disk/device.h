// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

/** A disk or partition, found by the name of its node in /dev; or, in tests, an image file. */
struct Device
{
    std::string name; ///< of the node, without its folder
    std::string path;
    dev_t number = 0; ///< 0 for an image file
    uint64_t bytes = 0;
    unsigned sectorBytes = 512;

    /**
     * The device behind /dev/NAME. Where udev makes the names, waits until a partition's leads to the partition of the
     * disk that the disk's own name leads to. A Failure with `Missing` where there is none; a regular file of that
     * name, which dd leaves when it writes to a disk that is not there, is removed first.
     */
    static Device Find(const std::string& name);

    /** The same, and a Failure with `Refused` where it is a partition: a table in it would overwrite what it holds. */
    static Device FindDisk(const std::string& name);

    /** An image file in place of a disk. */
    static Device OfFile(const std::string& path);
};

/** A partition as the kernel has it; start and size in sectors of 512 bytes, whatever the disk's. From /sys. */
struct KernelPartition
{
    unsigned number = 0;
    uint64_t start = 0;
    uint64_t size = 0;
    dev_t device = 0;
};

/** The number of the block device behind a path; 0 where there is none. */
dev_t BlockNumber(const std::string& path);

/** Whether /dev/NAME is there, and where it is a partition, belongs to the disk that its name says, as its number. */
bool LeadsToItsDisk(const std::string& name);

/** "8:1", as /sys has the number of a device; 0 where it is none. */
dev_t ParseNumber(const std::string& text);

/** What the kernel says of that device; nothing where it is no partition. */
std::optional<KernelPartition> FindKernelPartition(dev_t device);

/** All partitions of a disk, by number. */
std::vector<KernelPartition> KernelPartitions(dev_t disk);

/** The disk that a partition belongs to; a disk is its own. */
dev_t WholeDisk(dev_t device);

/** The folder of a device in /sys. */
std::string SysFolder(dev_t device);

/** The kernel's own name of a device, as "sda1". */
std::string KernelName(dev_t device);

/** The first line of a file in /sys or /proc; empty where there is none. */
std::string FirstLine(const std::string& path);

/** Forces what was written to the device onto the medium; a Failure that names it when that fails. */
void FlushDevice(const Device& device);
