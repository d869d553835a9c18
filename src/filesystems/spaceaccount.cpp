// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "spaceaccount.h"

#include <algorithm>

namespace {
constexpr uint64_t smallestBlock = 256; // of NTFS
} // namespace

SpaceAccount::SpaceAccount(uint64_t blockBytes, uint64_t blocks, uint64_t partitionBytes)
    : blockBytes(blockBytes)
{
    if (blockBytes < smallestBlock || blocks > partitionBytes / blockBytes)
        throw NoAccount("it counts more space than its partition has");
    used.resize(blocks);
}

void SpaceAccount::Check(uint64_t first, uint64_t count) const
{
    if (first > used.size() || count > used.size() - first)
        throw NoAccount("its list of blocks names one beyond its end");
}

void SpaceAccount::Use(uint64_t first, uint64_t count)
{
    Check(first, count);
    std::fill_n(used.begin() + static_cast<ptrdiff_t>(first), count, true);
}

void SpaceAccount::Release(uint64_t first, uint64_t count)
{
    Check(first, count);
    std::fill_n(used.begin() + static_cast<ptrdiff_t>(first), count, false);
}

void SpaceAccount::UseMarked(const std::string& bits, uint64_t number, uint64_t count, uint64_t first, uint64_t inEach)
{
    for (const char byte : bits) {
        for (unsigned bit = 0; byte != 0 && bit < 8 && number + bit < count; ++bit) {
            if ((static_cast<unsigned char>(byte) >> bit & 1) != 0)
                Use(first + (number + bit) * inEach, inEach);
        }
        number += 8;
    }
}

uint64_t SpaceAccount::UsedBlocks() const
{
    return static_cast<uint64_t>(std::count(used.begin(), used.end(), true));
}

uint64_t SpaceAccount::Lacking(const std::function<bool(uint64_t offset, uint64_t size)>& has) const
{
    uint64_t lacking = 0;
    for (uint64_t block = 0; block < used.size(); ++block)
        lacking += used[block] && !has(block * blockBytes, blockBytes) ? 1 : 0;
    return lacking;
}
