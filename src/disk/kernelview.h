// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "device.h"
#include "tablefile.h"

/**
 * Holds the lines of a disk's partitions against those that the kernel has, by which they are saved: libfdisk passes
 * over a second extended partition and a second entry of an extended boot record. What the kernel has in another place
 * under a number of a logical partition, or has and no line names, gets the kernel's place; a partition within one that
 * is listed, as the slices of a BSD label, is saved with that. What the kernel lacks is a warning. An image file has no
 * partitions in the kernel and stays as it is.
 */
void AddKernelPartitions(const Device& disk, TableFile& file);
