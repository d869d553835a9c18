// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "device.h"
#include "tablefile.h"

/**
 * All that is saved of a disk besides the contents of its partitions: table, boot track, extended boot records, both
 * copies of a GPT, the identities of swap areas. A disk without a table that can be read is described as one that has
 * a single image of all of it. What may not come back as it was is named in `warnings`.
 */
TableFile DescribeDisk(const Device& disk);
