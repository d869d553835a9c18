// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "device.h"
#include "disktable.h"
#include "tablefile.h"

/**
 * Marks of earlier uses, as those of a RAID or of a boot manager, stand in the first and the last MiB of a disk or
 * partition, where the tools that they are for look, whatever stands between. These put zeros there; where that can't
 * be done, they warn.
 */

/** Of the end of the disk, what lies outside all partitions of the table. */
void ClearDiskEnd(const TableFile& file, const TablePlace& place);

/** Of both ends of a partition, or of a disk without a table, all but what else the table has there. */
void ClearPartitionEnds(const TableFile& file, const TableLine& line, const Device& partition);
