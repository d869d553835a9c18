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

bool ImageHeader::IsImage(const std::string& bytes)
{
    return bytes.compare(0, sizeof magic - 1, magic) == 0;
}

std::optional<ImageHeader> ImageHeader::Parse(const std::string& bytes)
{
    if (bytes.size() < length || !IsImage(bytes) || bytes.compare(30, 4, "0002") != 0)
        return {};
    ImageHeader header;
    header.deviceBytes = At<uint64_t>(bytes, 52);
    header.blocks = At<uint64_t>(bytes, 60);
    header.usedBlocks = At<uint64_t>(bytes, 76);
    header.blockBytes = At<uint32_t>(bytes, 84);
    header.hasChecksums = At<uint16_t>(bytes, 96) != 0;
    // No device is longer than a file can be.
    if (header.blockBytes == 0 || header.blocks > INT64_MAX / header.blockBytes || header.usedBlocks > header.blocks)
        return {};
    return header;
}
