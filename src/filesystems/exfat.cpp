// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "accounts.h"

#include "littleendian.h"

#include <algorithm>
#include <optional>

namespace {
constexpr uint64_t mostOfFolder = 256U << 20; // bytes, by the format
constexpr unsigned entryBytes = 32;
constexpr int bitmapEntry = 0x81;
constexpr uint32_t lastCluster = 0xfffffff7; // this and above end a chain

/** What its boot sector says; in bytes from the beginning of the partition. */
struct Layout
{
    explicit Layout(const VolumeReader& volume);

    [[nodiscard]] uint64_t Place(uint64_t cluster) const
    {
        return heap + (cluster - 2) * clusterBytes;
    }

    uint64_t clusterBytes = 0;
    uint64_t fat = 0;
    uint64_t heap = 0; ///< of the first cluster, whose number is 2
    uint64_t clusters = 0;
    uint64_t root = 0; ///< the root folder's first cluster
};

Layout::Layout(const VolumeReader& volume)
{
    const std::string sector = volume.Bytes(0, 512);
    const unsigned sectorBits = static_cast<unsigned char>(sector[108]);
    const unsigned clusterBits = sectorBits + static_cast<unsigned char>(sector[109]);
    if (sector.compare(3, 8, "EXFAT   ") != 0 || sectorBits < 9 || sectorBits > 12 || clusterBits > 25)
        throw NoAccount("its boot sector contradicts itself");
    if (sector[110] != 1)
        throw NoAccount("it has more than one FAT");
    clusterBytes = 1ULL << clusterBits;
    fat = LittleEndian(sector, 80, 4) << sectorBits;
    heap = LittleEndian(sector, 88, 4) << sectorBits;
    clusters = LittleEndian(sector, 92, 4);
    root = LittleEndian(sector, 96, 4);
    const uint64_t fatBytes = LittleEndian(sector, 84, 4) << sectorBits;
    const uint64_t bytes = LittleEndian(sector, 72, 8);
    if (fat == 0 || fat + fatBytes > heap || (clusters + 2) * 4 > fatBytes
        || heap + clusters * clusterBytes > std::min<uint64_t>(bytes, INT64_MAX >> sectorBits) << sectorBits)
        throw NoAccount("its boot sector contradicts itself");
}

/** The clusters of a file, one after the other. */
class Chain
{
public:
    Chain(const VolumeReader& volume, const Layout& layout, uint64_t first)
        : volume(volume)
        , layout(layout)
        , next(first)
    {
    }

    /** Nothing at the end. */
    std::optional<uint64_t> Next()
    {
        if (next >= lastCluster)
            return {};
        if (next < 2 || next - 2 >= layout.clusters || passed++ > layout.clusters)
            throw NoAccount("a chain of its clusters leads nowhere");
        const uint64_t cluster = next;
        next = volume.Number(layout.fat + cluster * 4, 4);
        return cluster;
    }

private:
    const VolumeReader& volume;
    const Layout& layout;
    uint64_t next;
    uint64_t passed = 0;
};

/** The entry of the allocation bitmap in the root folder. */
std::string FindBitmap(const VolumeReader& volume, const Layout& layout)
{
    Chain chain(volume, layout, layout.root);
    for (uint64_t done = 0; done < mostOfFolder; done += layout.clusterBytes) {
        const auto cluster = chain.Next();
        if (!cluster)
            break;
        const std::string entries = volume.Bytes(layout.Place(*cluster), layout.clusterBytes);
        for (size_t place = 0; place < entries.size() && entries[place] != 0; place += entryBytes) {
            if (static_cast<unsigned char>(entries[place]) == bitmapEntry)
                return entries.substr(place, entryBytes);
        }
    }
    throw NoAccount("its root folder has no allocation bitmap");
}
} // namespace

SpaceAccount AccountOfExfat(const VolumeReader& volume)
{
    const Layout layout(volume);
    uint64_t blockBytes = layout.clusterBytes;
    while (layout.heap % blockBytes != 0)
        blockBytes /= 2;
    const uint64_t first = layout.heap / blockBytes;
    const uint64_t inCluster = layout.clusterBytes / blockBytes;
    SpaceAccount account(blockBytes, first + layout.clusters * inCluster, volume.Size());
    account.Use(0, first);
    const std::string entry = FindBitmap(volume, layout);
    if (LittleEndian(entry, 24, 8) < (layout.clusters + 7) / 8)
        throw NoAccount("its allocation bitmap is too short");
    Chain chain(volume, layout, LittleEndian(entry, 20, 4));
    for (uint64_t number = 0; number < layout.clusters; number += layout.clusterBytes * 8) {
        const auto cluster = chain.Next();
        if (!cluster)
            throw NoAccount("its allocation bitmap is too short");
        account.UseMarked(
            volume.Bytes(layout.Place(*cluster), layout.clusterBytes), number, layout.clusters, first, inCluster);
    }
    return account;
}
