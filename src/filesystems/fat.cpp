// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "accounts.h"

#include "littleendian.h"

#include <algorithm>

namespace {
constexpr unsigned mostOf12Bits = 4084; // clusters, as the kernel tells the widths
constexpr unsigned mostOf16Bits = 65524;
constexpr uint64_t piece = 3U << 20; // no entry lies across two

bool IsPowerOfTwo(uint64_t number)
{
    return number != 0 && (number & (number - 1)) == 0;
}

/** Where the parts of a FAT file system lie, by its boot sector; in bytes from the beginning of the partition. */
struct Layout
{
    explicit Layout(const VolumeReader& volume);

    [[nodiscard]] uint64_t Fat(unsigned number) const
    {
        return firstFat + number * fatBytes;
    }
    /** What the entries of all clusters take, with the two before the first cluster's. */
    [[nodiscard]] uint64_t EntryBytes() const
    {
        return ((clusters + 2) * entryBits + 7) / 8;
    }

    uint64_t clusterBytes = 0;
    uint64_t firstFat = 0;
    uint64_t fatBytes = 0;
    unsigned fats = 0;
    unsigned active = 0;  ///< the number of the FAT that counts
    bool mirrored = true; ///< all of them are kept alike
    uint64_t clusters = 0;
    uint64_t firstCluster = 0;
    unsigned entryBits = 0;
};

Layout::Layout(const VolumeReader& volume)
{
    const std::string sector = volume.Bytes(0, 512);
    const auto at = [&sector](size_t place, unsigned size) {
        return LittleEndian(sector, place, size);
    };
    const uint64_t sectorBytes = at(11, 2);
    const bool wide = at(22, 2) == 0;
    const uint64_t fatSectors = wide ? at(36, 4) : at(22, 2);
    const uint64_t sectors = at(19, 2) != 0 ? at(19, 2) : at(32, 4);
    clusterBytes = at(13, 1) * sectorBytes;
    fats = static_cast<unsigned>(at(16, 1));
    firstFat = at(14, 2) * sectorBytes;
    fatBytes = fatSectors * sectorBytes;
    const uint64_t rootBytes = (at(17, 2) * 32 + sectorBytes - 1) / std::max<uint64_t>(sectorBytes, 1) * sectorBytes;
    firstCluster = firstFat + fats * fatBytes + rootBytes;
    if (!IsPowerOfTwo(sectorBytes) || sectorBytes < 512 || sectorBytes > 4096 || !IsPowerOfTwo(clusterBytes)
        || firstFat == 0 || fats == 0 || fatBytes == 0 || firstCluster >= sectors * sectorBytes)
        throw NoAccount("its boot sector contradicts itself");
    clusters = (sectors * sectorBytes - firstCluster) / clusterBytes;
    entryBits = wide ? 32 : clusters > mostOf12Bits ? 16 : 12;
    if (entryBits == 16 && clusters > mostOf16Bits)
        throw NoAccount("its boot sector names more clusters than its FAT can have");
    if (EntryBytes() > fatBytes)
        throw NoAccount("its FAT is too short for its clusters");
    mirrored = !wide || (at(40, 2) & 0x80) == 0;
    active = mirrored ? 0 : at(40, 2) & 0xf;
    if (active >= fats)
        throw NoAccount("its boot sector names a FAT that it does not have");
}

/** The entry for the number `index` of these. */
uint64_t Entry(const std::string& entries, uint64_t index, unsigned bits)
{
    if (bits != 12)
        return LittleEndian(entries, index * bits / 8, bits / 8) & 0x0fffffff; // the highest four have no meaning
    const uint64_t pair = LittleEndian(entries, index + index / 2, 2);
    return index % 2 != 0 ? pair >> 4 : pair & 0xfff;
}

/** Its clusters seldom begin at a multiple of their size: the largest blocks that both are multiples of. */
uint64_t CommonBlock(const Layout& layout)
{
    uint64_t block = layout.clusterBytes;
    while (layout.firstCluster % block != 0)
        block /= 2;
    return block;
}
} // namespace

SpaceAccount AccountOfFat(const VolumeReader& volume)
{
    const Layout layout(volume);
    const uint64_t blockBytes = CommonBlock(layout);
    const uint64_t first = layout.firstCluster / blockBytes;
    const uint64_t inCluster = layout.clusterBytes / blockBytes;
    const uint64_t badCluster = layout.entryBits == 32 ? 0x0ffffff7 : layout.entryBits == 16 ? 0xfff7 : 0xff7;
    SpaceAccount account(blockBytes, first + layout.clusters * inCluster, volume.Size());
    account.Use(0, first);
    uint64_t number = 0;
    for (uint64_t done = 0; done < layout.EntryBytes(); done += piece) {
        const uint64_t size = std::min(piece, layout.EntryBytes() - done);
        const std::string entries = volume.Bytes(layout.Fat(layout.active) + done, size);
        // The first two entries hold notes, which some keep in one FAT alone.
        const size_t notes = done == 0 ? layout.entryBits / 4 : 0;
        for (unsigned other = 1; layout.mirrored && other < layout.fats; ++other) {
            if (volume.Bytes(layout.Fat(other) + done, size).compare(notes, size, entries, notes, size) != 0)
                throw NoAccount("its FATs differ");
        }
        const uint64_t count = std::min(size * 8 / layout.entryBits, layout.clusters + 2 - number);
        for (uint64_t i = 0; i < count; ++i, ++number) {
            const uint64_t entry = Entry(entries, i, layout.entryBits);
            if (number >= 2 && entry != 0 && entry != badCluster)
                account.Use(first + (number - 2) * inCluster, inCluster);
        }
    }
    return account;
}

std::vector<Twins> TwinsOfFat(const VolumeReader& volume)
{
    const Layout layout(volume);
    if (!layout.mirrored || layout.fats < 2)
        return {};
    return {{layout.Fat(0), layout.Fat(1), layout.fatBytes}};
}
