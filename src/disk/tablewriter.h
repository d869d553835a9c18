// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "device.h"
#include "disktable.h"

/**
 * Writes the table of `file` and reads it back. With the raw bytes that `file` has, they come back as they were; on a
 * larger disk the second copy of a GPT moves to its end. Without them, and for a GPT on a smaller disk, libfdisk makes
 * the table anew, and the boot sector is kept byte for byte wherever it agrees with it. Marks of earlier uses at the
 * end of the disk are cleared before, as far as no partition reaches.
 *
 * @param bootSector the 512 bytes that were written back just before, of which the boot code is kept in any case
 *
 * A Failure with `Failed` says what is not as it should be.
 */
void WriteTable(const TableFile& file, const TablePlace& place, const std::string& bootSector);

/** The same onto a sparse file in memory of that size: a Failure tells that the disk would not take the table. */
void RehearseTable(const TableFile& file, TablePlace place, const std::string& bootSector);

/** A Failure with `Refused` when the disk has other sectors or no room. */
void RefuseUnfitDisk(const TableFile& file, const Device& disk);

/** Whether the file has the database of a Windows dynamic disk, and this disk another size, where it means nothing. */
bool LosesDatabase(const TableFile& file, const Device& disk);

/** Whether that byte of the disk belongs to what a partition of the table holds. */
bool IsInPartition(const TableFile& file, uint64_t offset);
