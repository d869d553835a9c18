// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "imageheader.h"

#include "littleendian.h"

#include <cstring>

namespace {
constexpr char magic[] = "partclone-image"; // with its terminating zero
} // namespace

std::optional<ImageHeader> ImageHeader::Parse(const std::string& bytes)
{
    if (bytes.size() < length || bytes.compare(0, sizeof magic - 1, magic) != 0 || bytes.compare(30, 4, "0002") != 0)
        return {};
    ImageHeader header;
    header.deviceBytes = LittleEndian(bytes, 52, 8);
    header.blocks = LittleEndian(bytes, 60, 8);
    header.usedBlocks = LittleEndian(bytes, 76, 8);
    header.blockBytes = LittleEndian(bytes, 84, 4);
    header.hasChecksums = LittleEndian(bytes, 96, 2) != 0;
    header.checksumBytes = LittleEndian(bytes, 98, 2);
    header.checksumBlocks = LittleEndian(bytes, 100, 4);
    const bool hasBits = bytes[105] == 1; // or a byte for each block, or nothing
    // No device is longer than a file can be.
    if (!hasBits || (header.hasChecksums && header.checksumBlocks == 0) || header.blockBytes == 0
        || header.blocks > INT64_MAX / header.blockBytes || header.usedBlocks > header.blocks)
        return {};
    return header;
}
