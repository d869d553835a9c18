// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "imageheader.h"

#include "littleendian.h"

#include <array>
#include <string_view>

namespace {
constexpr char magic[] = "partclone-image"; // with its terminating zero
constexpr uint64_t largestBlock = 4096;
constexpr uint64_t smallestBlock = 512;            // no file system counts in less
constexpr uint64_t mostBlocks = uint64_t{1} << 33; // 32 TiB of the usual ones, and 1 GiB of bits in memory

/** CRC-32 as the format has it: without the inversion at the end. Four bytes, the lowest first. */
std::string Crc(std::string_view bytes)
{
    std::array<uint32_t, 256> table = {};
    for (uint32_t i = 0; i < table.size(); ++i) {
        table[i] = i;
        for (int bit = 0; bit < 8; ++bit)
            table[i] = table[i] >> 1 ^ ((table[i] & 1) != 0 ? 0xedb88320 : 0);
    }
    uint32_t crc = 0xffffffff;
    for (const char byte : bytes)
        crc = table[(crc ^ static_cast<unsigned char>(byte)) & 0xff] ^ crc >> 8;
    return ToLittleEndian(crc, 4);
}

std::string Field(std::string text, size_t size)
{
    text.resize(size);
    return text;
}
} // namespace

std::string ImageHeader::OfAllBlocks(uint64_t deviceBytes)
{
    uint64_t blockBytes = largestBlock;
    while (deviceBytes % blockBytes != 0)
        blockBytes /= 2;
    const uint64_t blocks = deviceBytes / blockBytes;
    std::string head = Field(magic, 16);
    head += Field("norvo", 14) + "0002" + "\xde\xc0"; // who wrote it, the format, the order of bytes
    head += Field("raw", 16) + ToLittleEndian(deviceBytes, 8);
    for (int i = 0; i < 3; ++i)
        head += ToLittleEndian(blocks, 8); // in all, in use, in the image
    head += ToLittleEndian(blockBytes, 4);
    // Size and version of these, bits of the processor; no checksums; a bit for each block.
    head += ToLittleEndian(18, 4) + ToLittleEndian(2, 2) + ToLittleEndian(64, 2) + Field("", 8) + "\1\1";
    head += Crc(head);
    const std::string bits((blocks + 7) / 8, '\xff');
    return head + bits + Crc(bits);
}

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
    if (!hasBits || (header.hasChecksums && header.checksumBlocks == 0) || header.blockBytes < smallestBlock
        || header.blocks > mostBlocks || header.blocks > INT64_MAX / header.blockBytes
        || header.usedBlocks > header.blocks)
        return {};
    return header;
}
