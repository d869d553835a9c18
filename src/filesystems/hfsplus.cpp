// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "accounts.h"

#include "bigendian.h"

#include <algorithm>

namespace {
constexpr uint64_t headerPlace = 1024;
constexpr uint64_t piece = 4U << 20;
constexpr unsigned extents = 8; // of a file's, in the header itself

/** The same bits, the lowest of each byte first. */
std::string Mirrored(std::string bits)
{
    for (char& byte : bits) {
        unsigned mirrored = 0;
        for (unsigned bit = 0; bit < 8; ++bit)
            mirrored |= (static_cast<unsigned char>(byte) >> bit & 1U) << (7 - bit);
        byte = static_cast<char>(mirrored);
    }
    return bits;
}
} // namespace

SpaceAccount AccountOfHfsPlus(const VolumeReader& volume)
{
    const std::string header = volume.Bytes(headerPlace, 512);
    const uint64_t blockBytes = BigEndian(header, 40, 4);
    const uint64_t blocks = BigEndian(header, 44, 4);
    if ((header.compare(0, 2, "H+") != 0 && header.compare(0, 2, "HX") != 0) || blockBytes < 512
        || blockBytes > (1U << 20) || (blockBytes & (blockBytes - 1)) != 0)
        throw NoAccount("its volume header contradicts itself");
    SpaceAccount account(blockBytes, blocks, volume.Size());
    uint64_t number = 0;
    for (unsigned i = 0; i < extents && number < blocks; ++i) {
        const uint64_t first = BigEndian(header, 128 + i * 8, 4); // of the allocation file
        const uint64_t bytes = BigEndian(header, 132 + i * 8, 4) * blockBytes;
        for (uint64_t done = 0; done < bytes && number < blocks; done += piece) {
            const uint64_t size = std::min(piece, bytes - done);
            account.UseMarked(Mirrored(volume.Bytes(first * blockBytes + done, size)), number, blocks);
            number += size * 8;
        }
    }
    if (number < blocks)
        throw NoAccount("its allocation file is in too many pieces");
    if (blocks - account.UsedBlocks() != BigEndian(header, 48, 4))
        throw NoAccount("its count of free blocks is not that of its allocation file");
    return account;
}
