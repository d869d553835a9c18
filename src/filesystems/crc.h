// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/**
 * Castagnoli's checksum, which ext4, XFS and Btrfs have over their own structures.
 * @param sum of what came before; ~0 where nothing did. The result isn't inverted.
 */
uint32_t Crc32c(uint32_t sum, const char* bytes, size_t size);

/** Over all the bytes, those `width` at `place` taken as zeros: that's where the sum is kept. Not inverted. */
uint32_t Crc32cWithout(uint32_t sum, std::string bytes, size_t place, size_t width);

/** That of ext4's group descriptors from before metadata_csum; the polynomial is 0xA001. */
uint32_t Crc16(uint32_t sum, const std::string& bytes);
