// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "imagerecord.h"
#include "savingplan.h"
#include "storefile.h"

/**
 * Writes the image of a partition, compressed with bzip2, to `file`. Sets `record.state` and `record.bad`.
 *
 * partclone's map of used blocks is held against the file system's own account. Where that has more, where either can't
 * be had or a block can't be read, all blocks are read here, used or not, and the state tells why; where the disk can't
 * be read, zeros are saved. A Failure otherwise; throws NoRoom and Interrupted.
 */
void WriteImage(const Device& partition, const SavingPlan& plan, StoreFile& file, ImageRecord& record);

/** The same for an extended partition, of which nothing is saved. */
void WriteExtendedNote(StoreFile& file);
