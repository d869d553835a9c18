// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "accounts.h"

#include "crc.h"
#include "littleendian.h"

#include <algorithm>

// The structures are those of "ext4 Data Structures and Algorithms" in the kernel's documentation. A bit of a group's
// bitmap stands for a cluster, which is a block unless the feature bigalloc is there.

namespace {
constexpr uint64_t superblockPlace = 1024;
constexpr size_t sumPlace = 30; ///< in a group's descriptor

/** What the superblock says. */
struct Geometry
{
    explicit Geometry(const std::string& bytes)
        : compatible(LittleEndian(bytes, 92, 4))
        , incompatible(LittleEndian(bytes, 96, 4))
        , readOnly(LittleEndian(bytes, 100, 4))
        , blocks(LittleEndian(bytes, 4, 4))
        , freeBlocks(LittleEndian(bytes, 12, 4))
        , firstBlock(LittleEndian(bytes, 20, 4))
        , blockBits(LittleEndian(bytes, 24, 4) + 10)
        , groupBlocks(LittleEndian(bytes, 32, 4))
        , groupInodes(LittleEndian(bytes, 40, 4))
        , inodeBytes(LittleEndian(bytes, 76, 4) == 0 ? 128 : LittleEndian(bytes, 88, 2))
        , reservedTable(LittleEndian(bytes, 206, 2))
        , firstMetaGroup(LittleEndian(bytes, 260, 4))
        , backups{LittleEndian(bytes, 0x24C, 4), LittleEndian(bytes, 0x250, 4)}
        , magic(LittleEndian(bytes, 56, 2))
        , uuid(bytes, 104, 16)
    {
        if (Is64Bit()) {
            blocks |= LittleEndian(bytes, 0x150, 4) << 32;
            freeBlocks |= LittleEndian(bytes, 0x158, 4) << 32;
            descriptorBytes = LittleEndian(bytes, 254, 2);
        }
        if ((readOnly & 0x200) != 0)
            clusterBits = LittleEndian(bytes, 28, 4) + 10 - blockBits;
        seed = (incompatible & 0x2000) != 0 ? static_cast<uint32_t>(LittleEndian(bytes, 0x270, 4))
                                            : Crc32c(~0U, uuid.data(), uuid.size());
    }

    void Check() const
    {
        const uint64_t bytes = BlockBytes();
        const bool possible = magic == 0xEF53 && blockBits <= 16 && clusterBits <= 16 && firstBlock <= 1
            && blocks > firstBlock && groupBlocks >= 256 && groupBlocks % (8U << clusterBits) == 0
            && groupBlocks >> clusterBits <= 8 * bytes && groupInodes > 0 && groupInodes <= 8 * bytes
            && inodeBytes >= 128 && inodeBytes <= bytes && descriptorBytes >= 32 && descriptorBytes <= 1024
            && (descriptorBytes & (descriptorBytes - 1)) == 0 && (!Is64Bit() || descriptorBytes >= 64);
        if (!possible)
            throw NoAccount("its superblock is damaged");
    }

    [[nodiscard]] bool Is64Bit() const
    {
        return (incompatible & 0x80) != 0;
    }
    [[nodiscard]] bool HasMetaGroups() const
    {
        return (incompatible & 0x10) != 0;
    }
    [[nodiscard]] bool HasSums() const
    {
        return (readOnly & 0x400) != 0;
    }
    [[nodiscard]] bool HasOldSums() const
    {
        return (readOnly & 0x410) == 0x10;
    }
    [[nodiscard]] uint64_t BlockBytes() const
    {
        return 1ULL << blockBits;
    }
    [[nodiscard]] uint64_t Groups() const
    {
        return (blocks - firstBlock + groupBlocks - 1) / groupBlocks;
    }
    [[nodiscard]] uint64_t GroupBegin(uint64_t group) const
    {
        return firstBlock + group * groupBlocks;
    }
    [[nodiscard]] uint64_t GroupSize(uint64_t group) const
    {
        return std::min(groupBlocks, blocks - GroupBegin(group));
    }
    [[nodiscard]] uint64_t DescriptorsInBlock() const
    {
        return BlockBytes() / descriptorBytes;
    }
    [[nodiscard]] uint64_t TableBlocks() const
    {
        return (Groups() + DescriptorsInBlock() - 1) / DescriptorsInBlock();
    }

    uint64_t compatible, incompatible, readOnly; ///< features
    uint64_t blocks, freeBlocks, firstBlock, blockBits, groupBlocks, groupInodes, inodeBytes, reservedTable;
    uint64_t firstMetaGroup;
    uint64_t backups[2]; ///< groups with a superblock, where there are these alone
    uint64_t magic;
    std::string uuid;
    uint64_t descriptorBytes = 32;
    uint64_t clusterBits = 0; ///< a cluster has 1 << clusterBits blocks
    uint32_t seed = 0;        ///< of the checksums
};

bool IsPowerOf(uint64_t base, uint64_t number)
{
    while (number % base == 0)
        number /= base;
    return number == 1;
}

class Ext
{
public:
    explicit Ext(const VolumeReader& volume)
        : volume(volume)
        , geometry(volume.Bytes(superblockPlace, 1024))
        , account(MakeAccount())
    {
    }

    SpaceAccount Account()
    {
        account.Use(0, geometry.firstBlock); // a boot sector
        ReadTable();
        for (uint64_t group = 0; group < geometry.Groups(); ++group)
            ReadBitmap(group);
        for (uint64_t group = 0; group < geometry.Groups(); ++group)
            UseInodes(group);
        uint64_t clusters = 0;
        for (uint64_t group = 0; group < geometry.Groups(); ++group)
            clusters += CountFree(group);
        if (clusters << geometry.clusterBits != geometry.freeBlocks)
            throw NoAccount("its superblock counts " + std::to_string(geometry.freeBlocks)
                + " free blocks, its bitmaps " + std::to_string(clusters << geometry.clusterBits));
        return std::move(account);
    }

private:
    SpaceAccount MakeAccount() const
    {
        geometry.Check();
        return {geometry.BlockBytes(), geometry.blocks, volume.Size()};
    }

    [[nodiscard]] bool HasSuperblock(uint64_t group) const
    {
        if (group == 0)
            return true;
        if ((geometry.compatible & 0x200) != 0)
            return group == geometry.backups[0] || group == geometry.backups[1];
        return (geometry.readOnly & 0x1) == 0 || group == 1 || IsPowerOf(3, group) || IsPowerOf(5, group)
            || IsPowerOf(7, group);
    }

    /** Whether the descriptors that such a group begins with are its neighbours' alone, and not those of all. */
    [[nodiscard]] bool InMetaGroup(uint64_t group) const
    {
        return geometry.HasMetaGroups() && group / geometry.DescriptorsInBlock() >= geometry.firstMetaGroup;
    }

    /** Behind the superblock where the group has one; with blocks of 1 KiB, the first may be before it. */
    [[nodiscard]] uint64_t TableBegin(uint64_t group) const
    {
        if (group == 0)
            return superblockPlace / geometry.BlockBytes() + 1;
        return geometry.GroupBegin(group) + (HasSuperblock(group) ? 1 : 0);
    }

    void ReadTable()
    {
        const uint64_t inBlock = geometry.DescriptorsInBlock();
        for (uint64_t i = 0; i < geometry.TableBlocks(); ++i) {
            const bool apart = geometry.HasMetaGroups() && i >= geometry.firstMetaGroup;
            const uint64_t block = apart ? TableBegin(i * inBlock) : TableBegin(0) + i;
            const std::string bytes = volume.Bytes(block * geometry.BlockBytes(), geometry.BlockBytes());
            const uint64_t many = std::min(inBlock, geometry.Groups() - i * inBlock);
            table.append(bytes, 0, many * geometry.descriptorBytes);
        }
    }

    [[nodiscard]] uint64_t Field(uint64_t group, size_t low, size_t high, unsigned size) const
    {
        const size_t place = group * geometry.descriptorBytes;
        const uint64_t upper = geometry.Is64Bit() ? LittleEndian(table, place + high, size) << (8 * size) : 0;
        return upper | LittleEndian(table, place + low, size);
    }

    [[nodiscard]] bool IsSound(uint64_t group) const
    {
        const std::string bytes = table.substr(group * geometry.descriptorBytes, geometry.descriptorBytes);
        std::string number;
        for (unsigned i = 0; i < 4; ++i)
            number += static_cast<char>(group >> (8 * i));
        const uint64_t sum = LittleEndian(bytes, sumPlace, 2);
        if (geometry.HasSums())
            return sum == (Crc32cWithout(Crc32c(geometry.seed, number.data(), 4), bytes, sumPlace, 2) & 0xFFFF);
        const std::string rest = bytes.substr(0, sumPlace) + bytes.substr(sumPlace + 2);
        return !geometry.HasOldSums() || sum == Crc16(0xFFFF, geometry.uuid + number + rest);
    }

    void ReadBitmap(uint64_t group)
    {
        if (!IsSound(group))
            throw NoAccount("the descriptor of group " + std::to_string(group) + " is damaged");
        const bool flagged = (LittleEndian(table, group * geometry.descriptorBytes + 18, 2) & 0x2) != 0;
        if (flagged && (geometry.readOnly & 0x410) != 0) { // its bitmap was never written
            UseHead(group);
            return;
        }
        const std::string bits = volume.Bytes(
            Field(group, 0, 32, 4) * geometry.BlockBytes(), (geometry.groupBlocks >> geometry.clusterBits) / 8);
        if (geometry.HasSums()) {
            const uint64_t mask = geometry.Is64Bit() ? ~0U : 0xFFFF;
            if (Field(group, 24, 56, 2) != (Crc32c(geometry.seed, bits.data(), bits.size()) & mask))
                throw NoAccount("the bitmap of group " + std::to_string(group) + " is damaged");
        }
        const uint64_t size = geometry.GroupSize(group);
        for (uint64_t i = 0; i << geometry.clusterBits < size; ++i) {
            if ((static_cast<unsigned char>(bits[i / 8]) >> (i % 8) & 1) != 0)
                UseClusters(geometry.GroupBegin(group) + (i << geometry.clusterBits), 1);
        }
    }

    /** The copies of superblock and descriptors that such a group begins with. */
    void UseHead(uint64_t group)
    {
        const uint64_t inBlock = geometry.DescriptorsInBlock();
        const bool hasSuperblock = HasSuperblock(group);
        uint64_t blocks = 0;
        if (InMetaGroup(group)) {
            const uint64_t place = group % inBlock;
            blocks = place == 0 || place == 1 || place == inBlock - 1 ? 1 : 0;
        } else if (hasSuperblock) {
            blocks
                = geometry.HasMetaGroups() ? geometry.firstMetaGroup : geometry.TableBlocks() + geometry.reservedTable;
        }
        const uint64_t begin = geometry.GroupBegin(group);
        UseClusters(begin, TableBegin(group) - begin + blocks);
    }

    /** A group's bitmaps and inodes may lie in another group, whose own bitmap was never written. */
    void UseInodes(uint64_t group)
    {
        const uint64_t bytes = geometry.groupInodes * geometry.inodeBytes;
        UseClusters(Field(group, 0, 32, 4), 1);
        UseClusters(Field(group, 4, 36, 4), 1);
        UseClusters(Field(group, 8, 40, 4), (bytes + geometry.BlockBytes() - 1) / geometry.BlockBytes());
    }

    /** All blocks of the clusters in which these are. */
    void UseClusters(uint64_t first, uint64_t count)
    {
        const uint64_t size = 1ULL << geometry.clusterBits;
        const uint64_t begin = first - (first - geometry.firstBlock) % size;
        const uint64_t end = std::min(
            geometry.blocks, (first + count + size - 1 - geometry.firstBlock) / size * size + geometry.firstBlock);
        if (count > 0 && first >= geometry.firstBlock && first + count <= geometry.blocks)
            account.Use(begin, end - begin);
        else if (count > 0)
            throw NoAccount("its descriptors name blocks beyond its end");
    }

    /** @return clusters; NoAccount where the group counts others */
    uint64_t CountFree(uint64_t group)
    {
        const uint64_t begin = geometry.GroupBegin(group);
        uint64_t count = 0;
        for (uint64_t i = 0; i < geometry.GroupSize(group); i += 1ULL << geometry.clusterBits)
            count += account.IsUsed(begin + i) ? 0 : 1;
        const uint64_t said = Field(group, 12, 44, 2);
        if (said != count)
            throw NoAccount("group " + std::to_string(group) + " counts " + std::to_string(said)
                + " free blocks, its bitmap " + std::to_string(count));
        return count;
    }

    const VolumeReader& volume;
    const Geometry geometry;
    SpaceAccount account;
    std::string table; ///< the groups' descriptors
};
} // namespace

SpaceAccount AccountOfExt(const VolumeReader& volume)
{
    return Ext(volume).Account();
}
