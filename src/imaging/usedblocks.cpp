// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "usedblocks.h"

#include <algorithm>

UsedBlocks::UsedBlocks(const ImageHeader& header, std::string_view bits)
    : blocks(header.blocks)
    , usedBlocks(header.usedBlocks)
    , blockBytes(header.blockBytes)
    , bits(bits)
{
}

bool UsedBlocks::IsUsed(uint64_t number) const
{
    return (static_cast<unsigned char>(bits[number / 8]) >> (number % 8) & 1) != 0;
}

bool UsedBlocks::Fit(uint64_t partitionBytes) const
{
    uint64_t count = 0;
    uint64_t end = 0;
    for (uint64_t number = 0; number < blocks; ++number) {
        if (!IsUsed(number))
            continue;
        ++count;
        end = number + 1;
    }
    return count == usedBlocks && end * blockBytes <= partitionBytes;
}

bool UsedBlocks::Cover(Extent extent) const
{
    const uint64_t end = extent.End() / blockBytes + (extent.End() % blockBytes != 0 ? 1 : 0);
    for (uint64_t number = extent.offset / blockBytes; number < end; ++number) {
        if (number >= blocks || !IsUsed(number))
            return false;
    }
    return true;
}

Extent UsedBlocks::Next(uint64_t most)
{
    while (block < blocks && !IsUsed(block))
        ++block;
    uint64_t end = block;
    while (end < blocks && (end - block) * blockBytes < most + skip && IsUsed(end))
        ++end;
    if (end == block)
        return {};
    const Extent extent = {block * blockBytes + skip, std::min((end - block) * blockBytes - skip, most)};
    block = extent.End() / blockBytes;
    skip = extent.End() % blockBytes;
    return extent;
}
