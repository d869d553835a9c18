// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "device.h"
#include "tablefile.h"

/**
 * Whether the kernel's partition is the one of that line. The kernel gives an extended partition a size of its own, and
 * cuts one that ends beyond the disk.
 */
bool IsSamePlace(const TableLine& line, const KernelPartition& partition, const Device& disk);

/**
 * Each partition that the kernel has gets a line, whatever libfdisk thinks of the table: a second chain of logical
 * ones, a second one in one record. What lies within another partition, as slices do, is saved with that. A warning
 * names each line that is new, is elsewhere for the kernel, or is unknown to it.
 *
 * @param partitions the kernel's; none where it has not read the table
 */
void AddKernelPartitions(const std::vector<KernelPartition>& partitions, const Device& disk, TableFile& file);

/**
 * Whether the table has a partition of Windows' dynamic disks and the kernel has others instead: the volumes that the
 * database at the end of the disk names.
 */
bool ShowsVolumes(const std::vector<KernelPartition>& partitions, const Device& disk, const TableFile& file);

/**
 * Makes the kernel read the table just written; afterwards it offers each partition in its place. A Failure otherwise.
 * The nodes in /dev may come later: see WaitForNodes().
 */
void TellKernel(const TableFile& file, const Device& disk);

/** Waits until the partitions' names in /dev lead to the partitions. A Failure when one doesn't in time. */
void WaitForNodes(const TableFile& file, const Device& disk);
