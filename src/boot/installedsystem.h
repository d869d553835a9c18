// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "bootcode.h"
#include "fstab.h"

#include <optional>
#include <string>
#include <vector>

/** A Linux system on the disk, or the /boot of one whose root can't be mounted (LVM, RAID, encryption). */
struct InstalledSystem
{
    unsigned partition = 0; ///< number of the one with its root or, of a /boot alone, of that
    std::string subvolume;  ///< the mount option of its btrfs subvolume; empty for the default one
    bool hasRoot = true;    ///< false: a /boot alone
    bool usesGrub2 = false; ///< its GRUB is in a folder grub2
    int64_t installed = 0;  ///< when GRUB was last installed there, in seconds; 0: never
    Fstab fstab;
};

/** What was found on a disk. */
struct Findings
{
    bool coreWhole = false;   ///< the boot sector leads to the core of an installed GRUB
    bool biosWhole = false;   ///< and that has its grub.cfg
    bool savedWhole = false;  ///< it would be with the boot track of the image set
    bool hasConfig = false;   ///< there is a grub.cfg
    bool hasBiosGrub = false; ///< GRUB for BIOS was installed from one of the systems
    EfiLoaders loaders;
    std::optional<InstalledSystem> system; ///< the one whose GRUB was installed last, else the first
    std::vector<std::string> unreadable;   ///< why a file system could not be looked at
};

/** The partitions whose contents a system has to put together or decrypt: LVM, RAID, encryption. */
std::vector<std::string> HiddenPartitions(const std::vector<DiskPartition>& partitions);

/** Looks at all file systems of the disk, mounted for reading, and unmounts them again. */
Findings LookAtDisk(const Device& disk, const std::vector<DiskPartition>& partitions, const TableFile& saved);

/**
 * What starts a disk: a DOS disk the BIOS, a GPT disk what it has partitions for. The BIOS starts neither where there
 * is a UEFI loader and GRUB for BIOS was never installed.
 */
struct BootNeeds
{
    bool bios = false;
    bool uefi = false;

    /** A Failure with `Refused` for a disk that nothing can start. */
    static BootNeeds Of(const Device& disk, const std::vector<DiskPartition>& partitions, const Findings& findings);

    /** Whether the disk has all of it, with the configuration of GRUB. */
    [[nodiscard]] bool AreMet(const Findings& findings) const;
};
