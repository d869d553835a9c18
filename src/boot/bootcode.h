// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "device.h"
#include "tablefile.h"

#include <string>

/**
 * Whether the disk starts GRUB as it is: its boot sector holds the code of boot.img in `folder`, and the core which
 * that points to is core.img of the same folder. What GRUB changes while it writes them is left out of the comparison.
 *
 * @param folder a folder i386-pc of an installed GRUB
 */
bool IsBootCodeWhole(const Device& disk, const std::string& folder);

/**
 * Whether the disk has the boot code of an image set and, with a DOS table, all that stood between it and the first
 * partition. Also true of boot loaders other than GRUB; false where the set has none of this.
 */
bool IsBootTrackAsSaved(const Device& disk, const TableFile& table);

/** The UEFI boot loaders in a folder that has the contents of an EFI system partition. */
struct EfiLoaders
{
    bool any = false;
    bool removable = false; ///< EFI/BOOT/BOOTX64.EFI, which firmware tries by itself
};

EfiLoaders FindEfiLoaders(const std::string& folder);
