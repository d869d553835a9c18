// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "device.h"
#include "tablefile.h"

/**
 * Saves what stands on the disk outside its partitions: the boot sector, and where the file has a table, the boot
 * track, extended boot records, both copies of a GPT and the database of a Windows dynamic disk. What can't be read is
 * a warning.
 */
void SaveRawAreas(const Device& disk, TableFile& file);
