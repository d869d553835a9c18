// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "fstab.h"
#include "tablefile.h"

#include <string>
#include <vector>

/**
 * The path of the partition-table file of the image set in this folder: SERIAL_DATE_hdc.sf in .../SERIAL/DATE, else the
 * only one; empty where there is none.
 */
std::string FindSavedTable(const std::string& folder, const std::string& disk);

/** The partition table that the image set in this folder has saved of the disk; an empty one where it has none. */
TableFile ReadSavedTable(const std::string& folder, const std::string& disk);

/**
 * Gives swap areas that were made again the identities back by which the restored system finds them; it would wait for
 * them at every start otherwise. Where the set has none recorded, the system's file system table tells, if it leaves no
 * doubt. Says what was done, and warns of a swap area that the system will not find, or may not. A Failure with
 * `Failed` or `Tool`.
 */
void RestoreSwapIdentities(std::vector<DiskPartition> partitions, const TableFile& saved, const Fstab& fstab);
