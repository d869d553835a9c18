// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "device.h"

#include <functional>

/**
 * Writes the image of a partition that comes from a pipe onto a partition, and proves that the medium has it.
 *
 * The checksums that some images have between their blocks are passed over: the image as a whole was found good before.
 * What comes after the last block is read to its end.
 *
 * @param source blocking
 * @param opened called when the partition is open, before a byte of the image is read
 * A Failure where the image ends early, or the partition can't be written or reads back differently.
 */
void WriteBlocks(int source, const Device& partition, const std::function<void()>& opened);
