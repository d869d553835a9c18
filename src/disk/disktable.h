// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "tablefile.h"

#include <string>
#include <vector>

/** Where a table is read from or written to: a disk, or a sparse file that stands for one. */
struct TablePlace
{
    std::string path;
    uint64_t bytes = 0;
    unsigned sectorBytes = 512;
};

/** A partition table as libfdisk understands it. */
struct DiskTable
{
    std::string kind;                    ///< "dos", "gpt" and so on; empty where there is none
    std::vector<TableLine> lines;        ///< of the used partitions; for a DOS table the empty slots too
    std::string native;                  ///< libfdisk's own description, which ApplyNative() takes
    std::vector<std::string> complaints; ///< what libfdisk finds wrong with it

    /** What two disks of different sizes with the same table have in common, as text. */
    [[nodiscard]] std::string Comparable() const;
};

/** The same for a description alone. */
std::string ComparableNative(const std::string& native);

/** A Failure with `Failed` when the place can't be read. */
DiskTable ReadDiskTable(const TablePlace& place);

/** Writes the table described by `native`; the boot code stays. A Failure with `Failed` and libfdisk's own words. */
void ApplyNative(const TablePlace& place, const std::string& native);

/** Writes a second copy of the GPT at the end of the disk, from the first; the protective entry is adapted too. */
void MoveSecondCopy(const TablePlace& place);
