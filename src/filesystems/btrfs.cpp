// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "accounts.h"

#include "crc.h"
#include "littleendian.h"

#include <algorithm>
#include <map>

// The structures are those of Btrfs' "On-disk Format". All addresses but those of the superblock are logical; chunks
// say where they are on the device. The extent tree has each piece of space that is taken, data and trees alike.

namespace {
constexpr uint64_t superblockPlace = 65536;
constexpr unsigned headBytes = 101, keyBytes = 17, itemBytes = 25, pointerBytes = 33;
constexpr uint64_t extentTree = 2;
enum ItemType : uint64_t { RootItem = 132, ExtentItem = 168, MetadataItem = 169, ChunkItem = 228 };

struct Key
{
    Key(const std::string& bytes, size_t place)
        : object(LittleEndian(bytes, place, 8))
        , type(LittleEndian(bytes, place + 8, 1))
        , offset(LittleEndian(bytes, place + 9, 8))
    {
    }
    uint64_t object, type, offset;
};

/** What the superblock says. */
struct Geometry
{
    explicit Geometry(const std::string& bytes)
        : magic(bytes, 64, 8)
        , incompatible(LittleEndian(bytes, 188, 8))
        , usedBytes(LittleEndian(bytes, 120, 8))
        , sectorBytes(LittleEndian(bytes, 144, 4))
        , nodeBytes(LittleEndian(bytes, 148, 4))
        , devices(LittleEndian(bytes, 136, 8))
        , device(LittleEndian(bytes, 201, 8))
        , deviceBytes(LittleEndian(bytes, 209, 8))
        , hasCrc32c(LittleEndian(bytes, 196, 2) == 0)
        , rootTree(LittleEndian(bytes, 80, 8))
        , rootLevel(LittleEndian(bytes, 198, 1))
        , chunkTree(LittleEndian(bytes, 88, 8))
        , chunkLevel(LittleEndian(bytes, 199, 1))
        , firstChunks(bytes, 811, std::min<uint64_t>(LittleEndian(bytes, 160, 4), 2048))
    {
        constexpr uint64_t known = 0x10FFF; // up to more copies (0x800), and simple quotas
        const auto isSize = [](uint64_t size) {
            return size >= 4096 && size <= 65536 && (size & (size - 1)) == 0;
        };
        if (magic != "_BHRfS_M" || !isSize(sectorBytes) || !isSize(nodeBytes) || nodeBytes < sectorBytes
            || (hasCrc32c && LittleEndian(bytes, 0, 4) != (Crc32c(~0U, bytes.data() + 32, bytes.size() - 32) ^ ~0U)))
            throw NoAccount("its superblock is damaged");
        if ((incompatible & ~known) != 0 || devices != 1)
            throw NoAccount("it has features that are not known here");
    }

    std::string magic;
    uint64_t incompatible, usedBytes, sectorBytes, nodeBytes, devices, device, deviceBytes;
    bool hasCrc32c;
    uint64_t rootTree, rootLevel, chunkTree, chunkLevel;
    std::string firstChunks; ///< those of the chunk tree itself
};

struct Chunk
{
    uint64_t bytes;
    bool hasData;                 ///< of files, which may be without checksums
    std::vector<uint64_t> places; ///< on the device, in bytes: its copies
};

class Btrfs
{
public:
    explicit Btrfs(const VolumeReader& volume)
        : volume(volume)
        , geometry(volume.Bytes(superblockPlace, 4096))
        , account(geometry.sectorBytes, geometry.deviceBytes / geometry.sectorBytes, volume.Size())
    {
    }

    SpaceAccount Account()
    {
        UseBytes(superblockPlace, 4096);
        ReadFirstChunks();
        Walk(geometry.chunkTree, geometry.chunkLevel, &Btrfs::TakeChunk);
        Walk(geometry.rootTree, geometry.rootLevel, &Btrfs::TakeRoot);
        if (extents == 0)
            throw NoAccount("it has no extent tree");
        Walk(extents, extentsLevel, &Btrfs::TakeExtent);
        if (taken != geometry.usedBytes)
            throw NoAccount("its superblock counts " + std::to_string(geometry.usedBytes)
                + " used bytes, its extent tree " + std::to_string(taken));
        return std::move(account);
    }

private:
    using Taker = void (Btrfs::*)(const Key& key, const std::string& item);

    [[noreturn]] static void Damaged(const char* what)
    {
        throw NoAccount(std::string(what) + " is damaged");
    }

    void ReadFirstChunks()
    {
        const std::string& bytes = geometry.firstChunks;
        for (size_t place = 0; place < bytes.size();) {
            if (bytes.size() - place < keyBytes + 80)
                Damaged("its superblock's list of chunks");
            const Key key(bytes, place);
            const size_t size = 48 + 32 * LittleEndian(bytes, place + keyBytes + 44, 2);
            if (key.type != ChunkItem || size > bytes.size() - place - keyBytes)
                Damaged("its superblock's list of chunks");
            TakeChunk(key, bytes.substr(place + keyBytes, size));
            place += keyBytes + size;
        }
    }

    void TakeChunk(const Key& key, const std::string& item)
    {
        if (key.type != ChunkItem)
            return;
        constexpr uint64_t raid0 = 8, copied = 32, profiles = 0x7F8;
        const uint64_t stripes = item.size() < 80 ? 0 : LittleEndian(item, 44, 2);
        if (stripes == 0 || item.size() != 48 + 32 * stripes)
            Damaged("its chunk tree");
        const uint64_t profile = LittleEndian(item, 24, 8) & profiles;
        const bool known = profile == copied ? stripes == 2 : (profile == 0 || profile == raid0) && stripes == 1;
        if (!known)
            throw NoAccount("its chunks are spread in a way that is not known here");
        Chunk chunk{LittleEndian(item, 0, 8), (LittleEndian(item, 24, 8) & 1) != 0, {}};
        for (uint64_t i = 0; i < stripes; ++i) {
            const uint64_t place = LittleEndian(item, 48 + 32 * i + 8, 8);
            if (LittleEndian(item, 48 + 32 * i, 8) != geometry.device || place > geometry.deviceBytes
                || chunk.bytes > geometry.deviceBytes - place || key.offset > UINT64_MAX - chunk.bytes)
                Damaged("its chunk tree");
            chunk.places.push_back(place);
        }
        chunks.insert_or_assign(key.offset, chunk);
    }

    void TakeRoot(const Key& key, const std::string& item)
    {
        if (key.object != extentTree || key.type != RootItem)
            return;
        if (item.size() < 239)
            Damaged("its root tree");
        extents = LittleEndian(item, 176, 8);
        extentsLevel = LittleEndian(item, 238, 1);
    }

    /** Of trees the first copy is enough, and all that partclone saves: the kernel finds a bad copy by its checksum,
     * and reads the good one. */
    void TakeExtent(const Key& key, const std::string& /*item*/)
    {
        if (key.type != ExtentItem && key.type != MetadataItem)
            return;
        const uint64_t bytes = key.type == MetadataItem ? geometry.nodeBytes : key.offset;
        if (key.object < extentsEnd)
            Damaged("its extent tree");
        const Chunk& chunk = ChunkOf(key.object, bytes, "its extent tree")->second;
        const std::vector<uint64_t> places = Places(key.object, bytes, "its extent tree");
        for (size_t i = 0; i < (chunk.hasData ? places.size() : 1); ++i)
            UseBytes(places[i], bytes);
        extentsEnd = key.object + bytes;
        taken += bytes;
    }

    /** So many bytes don't go beyond one chunk. */
    [[nodiscard]] std::map<uint64_t, Chunk>::const_iterator ChunkOf(
        uint64_t logical, uint64_t bytes, const char* what) const
    {
        auto chunk = chunks.upper_bound(logical);
        if (chunk == chunks.begin())
            Damaged(what);
        --chunk;
        const uint64_t within = logical - chunk->first;
        if (within > chunk->second.bytes || bytes > chunk->second.bytes - within)
            Damaged(what);
        return chunk;
    }

    /** Where their copies are on the device, one at least. */
    [[nodiscard]] std::vector<uint64_t> Places(uint64_t logical, uint64_t bytes, const char* what) const
    {
        const auto chunk = ChunkOf(logical, bytes, what);
        std::vector<uint64_t> places = chunk->second.places;
        for (uint64_t& place : places)
            place += logical - chunk->first;
        return places;
    }

    void UseBytes(uint64_t place, uint64_t bytes)
    {
        const uint64_t first = place / geometry.sectorBytes;
        account.Use(first, (place + bytes + geometry.sectorBytes - 1) / geometry.sectorBytes - first);
    }

    /** All its copies have to be there, and alike: nobody knows which of them the imaging tool read. */
    [[nodiscard]] std::string Node(uint64_t logical, uint64_t level) const
    {
        std::string node;
        for (const uint64_t place : Places(logical, geometry.nodeBytes, "a tree of it")) {
            std::string copy = volume.Bytes(place, geometry.nodeBytes);
            if (!node.empty() && node != copy)
                throw NoAccount("the copies of a tree of it differ");
            node = std::move(copy);
        }
        const bool isWhole = LittleEndian(node, 48, 8) == logical && LittleEndian(node, 100, 1) == level
            && (!geometry.hasCrc32c
                || LittleEndian(node, 0, 4) == (Crc32c(~0U, node.data() + 32, node.size() - 32) ^ ~0U));
        if (!isWhole)
            Damaged("a tree of it");
        return node;
    }

    /** Calls the taker for each item. */
    void Walk(uint64_t logical, uint64_t level, Taker take)
    {
        constexpr uint64_t mostLevels = 7;
        if (level > mostLevels || ++visits > 3 * (geometry.deviceBytes / geometry.nodeBytes))
            Damaged("a tree of it");
        const std::string node = Node(logical, level);
        const uint64_t count = LittleEndian(node, 96, 4);
        if (count > (node.size() - headBytes) / (level == 0 ? itemBytes : pointerBytes))
            Damaged("a tree of it");
        for (uint64_t i = 0; i < count && level > 0; ++i)
            Walk(LittleEndian(node, headBytes + pointerBytes * i + keyBytes, 8), level - 1, take);
        for (uint64_t i = 0; i < count && level == 0; ++i) {
            const size_t head = headBytes + itemBytes * i;
            const uint64_t place = headBytes + LittleEndian(node, head + keyBytes, 4);
            const uint64_t size = LittleEndian(node, head + keyBytes + 4, 4);
            if (place > node.size() || size > node.size() - place)
                Damaged("a tree of it");
            (this->*take)(Key(node, head), node.substr(place, size));
        }
    }

    const VolumeReader& volume;
    const Geometry geometry;
    SpaceAccount account;
    std::map<uint64_t, Chunk> chunks; ///< by their logical address
    uint64_t extents = 0, extentsLevel = 0;
    uint64_t extentsEnd = 0; ///< of the last one
    uint64_t taken = 0;      ///< bytes, copies not counted
    uint64_t visits = 0;
};
} // namespace

SpaceAccount AccountOfBtrfs(const VolumeReader& volume)
{
    return Btrfs(volume).Account();
}
