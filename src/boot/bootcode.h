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
 * @param saved where set, the question is whether it would with the boot track of that image set
 */
bool IsBootCodeWhole(const Device& disk, const std::string& folder, const TableFile* saved = nullptr);

/**
 * Whether the disk has the boot code of an image set and, with a DOS table, all that stood between it and the first
 * partition. Also true of boot loaders other than GRUB; false where the set has none of this.
 */
bool IsBootTrackAsSaved(const Device& disk, const TableFile& table);

/**
 * Installs GRUB again as an image set has it: its boot code and, of its core, what stands before the first partition,
 * read back from the medium. The disk's signature and its partition table stay, and nothing is written into a
 * partition. A Failure with `Failed` when the disk doesn't take it.
 *
 * @return false, with nothing written, where the set has no whole GRUB, or one that was made for another kind of
 *     partition table, other sectors or more room before the first partition than this disk has
 */
bool ReinstallSavedGrub(const Device& disk, const TableFile& saved);

/** The UEFI boot loaders in a folder that has the contents of an EFI system partition. */
struct EfiLoaders
{
    bool any = false;
    bool removable = false; ///< EFI/BOOT/BOOTX64.EFI, which firmware tries by itself
};

EfiLoaders FindEfiLoaders(const std::string& folder);
