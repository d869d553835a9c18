// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "accounts.h"

#include "bigendian.h"
#include "crc.h"
#include "littleendian.h"

#include <algorithm>

// The structures are those of the kernel's "XFS Filesystem Disk Structures". An allocation group has, in its first four
// sectors, a copy of the superblock and the headers of its free space (AGF), its inodes (AGI) and its spare list
// (AGFL).

namespace {
/** What the superblock says. */
struct Geometry
{
    explicit Geometry(const std::string& sector)
        : blockBytes(BigEndian(sector, 4, 4))
        , blocks(BigEndian(sector, 8, 8))
        , groupBlocks(BigEndian(sector, 84, 4))
        , groups(BigEndian(sector, 88, 4))
        , sectorBytes(BigEndian(sector, 102, 2))
        , freeBlocks(BigEndian(sector, 144, 8))
        , version(BigEndian(sector, 100, 2) & 0xF)
    {
    }

    uint64_t blockBytes;
    uint64_t blocks;
    uint64_t groupBlocks;
    uint64_t groups;
    uint64_t sectorBytes;
    uint64_t freeBlocks; ///< with the spare ones and those of the lists of free ones themselves
    uint64_t version;    ///< 5 has checksums
};

bool IsPower(uint64_t number, uint64_t least, uint64_t most)
{
    return number >= least && number <= most && (number & (number - 1)) == 0;
}

void Demand(bool holds, uint64_t group, const char* what)
{
    if (!holds)
        throw NoAccount(what + (" of allocation group " + std::to_string(group)) + " is damaged");
}

Geometry ReadGeometry(const VolumeReader& volume)
{
    const std::string sector = volume.Bytes(0, 512);
    const Geometry it(sector);
    const bool possible = sector.compare(0, 4, "XFSB") == 0 && IsPower(it.blockBytes, 512, 65536)
        && IsPower(it.sectorBytes, 512, it.blockBytes) && (it.version == 4 || it.version == 5) && it.groupBlocks >= 16
        && it.groups > 0 && it.blocks > (it.groups - 1) * it.groupBlocks && it.blocks <= it.groups * it.groupBlocks;
    if (!possible)
        throw NoAccount("its superblock is damaged");
    constexpr uint64_t needsRepair = 0x10;
    if (it.version == 5 && (BigEndian(sector, 216, 4) & needsRepair) != 0)
        throw NoAccount("it says that it needs repair");
    return it;
}

/** The free blocks of one allocation group are taken from the account. */
class Group
{
public:
    Group(const VolumeReader& volume, const Geometry& geometry, uint64_t number, SpaceAccount& account)
        : volume(volume)
        , geometry(geometry)
        , number(number)
        , begin(number * geometry.groupBlocks)
        , length(std::min(geometry.groupBlocks, geometry.blocks - begin))
        , account(account)
    {
    }

    /** @return its share of the superblock's count of free blocks */
    uint64_t ReleaseFree()
    {
        constexpr size_t superblockSum = 224, spaceSum = 216, inodesSum = 312, spareSum = 32;
        const Geometry copy(Header(0, "XFSB", superblockSum, "the superblock"));
        Demand(copy.blockBytes == geometry.blockBytes && copy.groupBlocks == geometry.groupBlocks, number,
            "the superblock");
        const std::string inodes = Header(2, "XAGI", inodesSum, "the header of inodes (AGI)");
        Demand(IsMine(inodes), number, "the header of inodes (AGI)");
        const std::string space = Header(1, "XAGF", spaceSum, "the header of free space (AGF)");
        Demand(IsMine(space), number, "the header of free space (AGF)");
        Walk(BigEndian(space, 16, 4), BigEndian(space, 28, 4));
        Demand(visits > 0 && freeBlocks == BigEndian(space, 52, 4) && longest == BigEndian(space, 56, 4), number,
            "the list of free space");
        const std::string spare = Header(3, geometry.version == 5 ? "XAFL" : "", spareSum, "the spare list (AGFL)");
        ReleaseSpare(space, spare);
        return freeBlocks + BigEndian(space, 48, 4) + BigEndian(space, 60, 4);
    }

private:
    /** In AGF and AGI alike. */
    [[nodiscard]] bool IsMine(const std::string& header) const
    {
        return BigEndian(header, 8, 4) == number && BigEndian(header, 12, 4) == length;
    }

    /** @param sum where its checksum is, in version 5 */
    [[nodiscard]] std::string Header(uint64_t sector, const std::string& magic, size_t sum, const char* what) const
    {
        std::string bytes
            = volume.Bytes(begin * geometry.blockBytes + sector * geometry.sectorBytes, geometry.sectorBytes);
        Demand(bytes.compare(0, magic.size(), magic) == 0 && IsSound(bytes, sum), number, what);
        return bytes;
    }

    [[nodiscard]] bool IsSound(const std::string& bytes, size_t sum) const
    {
        return geometry.version == 4 || LittleEndian(bytes, sum, 4) == (Crc32cWithout(~0U, bytes, sum, 4) ^ ~0U);
    }

    /** The tree of free extents, by their place; each comes after the one before, so no loop has an end but this. */
    void Walk(uint64_t block, uint64_t levels)
    {
        constexpr uint64_t mostLevels = 16;
        const char* const what = "the list of free space";
        Demand(block < length && levels > 0 && levels <= mostLevels && ++visits <= length, number, what);
        const std::string bytes = volume.Bytes((begin + block) * geometry.blockBytes, geometry.blockBytes);
        const bool summed = geometry.version == 5;
        const size_t head = summed ? 56 : 16;
        const uint64_t records = BigEndian(bytes, 6, 2);
        const size_t most = (geometry.blockBytes - head) / (levels == 1 ? 8 : 12);
        Demand(bytes.compare(0, 4, summed ? "AB3B" : "ABTB") == 0 && BigEndian(bytes, 4, 2) == levels - 1
                && records <= most && IsSound(bytes, 52),
            number, what);
        for (uint64_t i = 0; i < records; ++i) {
            if (levels == 1)
                ReleaseExtent(BigEndian(bytes, head + 8 * i, 4), BigEndian(bytes, head + 8 * i + 4, 4));
            else
                Walk(BigEndian(bytes, head + 8 * most + 4 * i, 4), levels - 1);
        }
    }

    void ReleaseExtent(uint64_t first, uint64_t count)
    {
        Demand(
            first >= end && count > 0 && first < length && count <= length - first, number, "the list of free space");
        account.Release(begin + first, count);
        end = first + count;
        freeBlocks += count;
        longest = std::max(longest, count);
    }

    /** What is kept for the lists themselves: a ring of block numbers, whose blocks hold nothing. */
    void ReleaseSpare(const std::string& space, const std::string& spare)
    {
        const size_t head = geometry.version == 5 ? 36 : 0;
        const uint64_t most = (geometry.sectorBytes - head) / 4;
        const uint64_t first = BigEndian(space, 40, 4);
        const uint64_t count = BigEndian(space, 48, 4);
        const char* const what = "the spare list (AGFL)";
        Demand(first < most && count <= most && (count == 0 || (first + count - 1) % most == BigEndian(space, 44, 4)),
            number, what);
        for (uint64_t i = 0; i < count; ++i) {
            const uint64_t block = BigEndian(spare, head + 4 * ((first + i) % most), 4);
            Demand(block < length && account.IsUsed(begin + block), number, what);
            account.Release(begin + block, 1);
        }
    }

    const VolumeReader& volume;
    const Geometry& geometry;
    const uint64_t number;
    const uint64_t begin;  ///< its first block
    const uint64_t length; ///< in blocks
    SpaceAccount& account;
    uint64_t visits = 0;
    uint64_t end = 0; ///< of the last free extent
    uint64_t freeBlocks = 0;
    uint64_t longest = 0;
};
} // namespace

SpaceAccount AccountOfXfs(const VolumeReader& volume)
{
    const Geometry geometry = ReadGeometry(volume);
    SpaceAccount account(geometry.blockBytes, geometry.blocks, volume.Size());
    account.Use(0, geometry.blocks);
    uint64_t free = 0;
    for (uint64_t i = 0; i < geometry.groups; ++i)
        free += Group(volume, geometry, i, account).ReleaseFree();
    if (free != geometry.freeBlocks)
        throw NoAccount("its superblock counts " + std::to_string(geometry.freeBlocks) + " free blocks, its groups "
            + std::to_string(free));
    return account;
}
