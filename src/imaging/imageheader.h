// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>

/**
 * The beginning of a partclone image of format 0002: a header of 110 bytes, little-endian, then a bit for each block,
 * the CRC of these, and the used blocks in order.
 */
struct ImageHeader
{
    static constexpr size_t length = 110;

    uint64_t deviceBytes = 0;
    uint64_t blocks = 0;
    uint64_t usedBlocks = 0;
    uint32_t blockBytes = 0;
    bool hasChecksums = false; ///< of the blocks, between them
    uint16_t checksumBytes = 0;
    uint32_t checksumBlocks = 0; ///< after so many blocks, and after the last one, there is one

    /** Of the header, the bits and their CRC: where the first block stands. */
    [[nodiscard]] uint64_t DataOffset() const
    {
        return length + (blocks + 7) / 8 + 4;
    }
    [[nodiscard]] uint64_t DataBytes() const
    {
        return usedBlocks * blockBytes;
    }

    /** In bytes of blocks. */
    [[nodiscard]] uint64_t ChecksumInterval() const
    {
        return uint64_t{checksumBlocks} * blockBytes;
    }

    /** How many bytes a partition must have for the image to be written back; its last block may be cut. */
    [[nodiscard]] uint64_t NeededBytes() const
    {
        const uint64_t wholeBlocks = blocks == 0 ? 0 : (blocks - 1) * blockBytes;
        return std::max({deviceBytes, DataBytes(), wholeBlocks});
    }
    [[nodiscard]] bool Fits(uint64_t partitionBytes) const
    {
        return NeededBytes() <= partitionBytes;
    }

    /** Header, bits and their CRC of an image that holds all of a partition's bytes, as the imaging tool writes them.
     */
    static std::string OfAllBlocks(uint64_t deviceBytes);

    /** Nothing when it is no image, or one of another format. */
    static std::optional<ImageHeader> Parse(const std::string& bytes);
};
