// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "imageheader.h"

#include <cstring>

namespace {
constexpr char magic[] = "partclone-image"; // with its terminating zero

template <typename Number> Number At(const std::string& bytes, size_t offset)
{
    Number number = 0;
    for (size_t i = sizeof number; i > 0; --i)
        number = static_cast<Number>(number << 8 | static_cast<unsigned char>(bytes[offset + i - 1]));
    return number;
}
} // namespace

std::optional<ImageHeader> ImageHeader::Parse(const std::string& bytes)
{
    if (bytes.size() < length || bytes.compare(0, sizeof magic - 1, magic) != 0 || bytes.compare(30, 4, "0002") != 0)
        return {};
    ImageHeader header;
    header.deviceBytes = At<uint64_t>(bytes, 52);
    header.blocks = At<uint64_t>(bytes, 60);
    header.usedBlocks = At<uint64_t>(bytes, 76);
    header.blockBytes = At<uint32_t>(bytes, 84);
    header.hasChecksums = At<uint16_t>(bytes, 96) != 0;
    header.checksumBytes = At<uint16_t>(bytes, 98);
    header.checksumBlocks = At<uint32_t>(bytes, 100);
    const bool hasBits = bytes[105] == 1; // or a byte for each block, or nothing
    // No device is longer than a file can be.
    if (!hasBits || (header.hasChecksums && header.checksumBlocks == 0) || header.blockBytes == 0
        || header.blocks > INT64_MAX / header.blockBytes || header.usedBlocks > header.blocks)
        return {};
    return header;
}
