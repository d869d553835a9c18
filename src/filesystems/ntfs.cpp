// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "accounts.h"

#include "littleendian.h"

#include <algorithm>

namespace {
constexpr uint64_t piece = 4U << 20;
constexpr unsigned block = 512; // bytes that a fixup belongs to
constexpr unsigned bitmapRecord = 6;
constexpr uint64_t attributeList = 0x20;
constexpr uint64_t data = 0x80;
constexpr uint64_t endOfAttributes = 0xffffffff;

/** Clusters side by side. */
struct Run
{
    uint64_t first;
    uint64_t count;
};

/** What its boot sector says. */
struct Layout
{
    explicit Layout(const VolumeReader& volume);

    uint64_t clusterBytes = 0;
    uint64_t clusters = 0;
    uint64_t recordBytes = 0; ///< of a file's record in the master file table
    uint64_t table = 0;       ///< the cluster that the master file table begins in
};

/** A number that stands for itself, or as a negative one for a power of two. */
uint64_t SizeFrom(uint64_t byte, uint64_t unit)
{
    if (byte < 0x80)
        return byte * unit;
    return byte > 0xe0 ? 1ULL << (0x100 - byte) : 0;
}

Layout::Layout(const VolumeReader& volume)
{
    const std::string sector = volume.Bytes(0, 512);
    const uint64_t sectorBytes = LittleEndian(sector, 11, 2);
    const uint64_t perCluster = LittleEndian(sector, 13, 1);
    clusterBytes = (perCluster <= 0x80 ? perCluster : 1ULL << std::min<uint64_t>(0x100 - perCluster, 32)) * sectorBytes;
    recordBytes = SizeFrom(LittleEndian(sector, 64, 1), clusterBytes);
    table = LittleEndian(sector, 48, 8);
    const uint64_t sectors = LittleEndian(sector, 40, 8);
    if (sector.compare(3, 4, "NTFS") != 0 || sectorBytes < 256 || clusterBytes == 0 || clusterBytes > (2U << 20)
        || recordBytes < block || recordBytes > (64U << 10) || recordBytes % block != 0
        || sectors > INT64_MAX / sectorBytes)
        throw NoAccount("its boot sector contradicts itself");
    clusters = sectors * sectorBytes / clusterBytes;
    if (table >= clusters)
        throw NoAccount("its boot sector contradicts itself");
}

/** The record as it is in memory: the last bytes of each block, which prove it whole, are put back. */
std::string ReadRecord(const VolumeReader& volume, const Layout& layout, uint64_t place)
{
    std::string record = volume.Bytes(place, layout.recordBytes);
    const uint64_t fixups = LittleEndian(record, 4, 2);
    const uint64_t blocks = layout.recordBytes / block;
    if (record.compare(0, 4, "FILE") != 0 || LittleEndian(record, 6, 2) != blocks + 1
        || fixups + 2 * (blocks + 1) > block - 2)
        throw NoAccount("a record of its master file table is damaged");
    for (uint64_t i = 1; i <= blocks; ++i) {
        const size_t last = i * block - 2;
        if (record.compare(last, 2, record, fixups, 2) != 0)
            throw NoAccount("a record of its master file table is damaged");
        record.replace(last, 2, record.substr(fixups + 2 * i, 2));
    }
    return record;
}

int64_t Signed(const std::string& bytes, size_t place, unsigned size)
{
    const unsigned unused = 64 - 8 * size;
    return size == 0 ? 0 : static_cast<int64_t>(LittleEndian(bytes, place, size) << unused) >> unused;
}

/** The runs in an attribute, from `place` on. */
std::vector<Run> ParseRuns(const std::string& attribute, size_t place, const Layout& layout)
{
    std::vector<Run> runs;
    int64_t first = 0;
    for (; place < attribute.size() && attribute[place] != 0;) {
        const unsigned countBytes = attribute[place] & 0xf;
        const unsigned firstBytes = static_cast<unsigned char>(attribute[place]) >> 4;
        ++place;
        if (countBytes == 0 || countBytes > 8 || firstBytes == 0 || firstBytes > 8
            || place + countBytes + firstBytes > attribute.size())
            throw NoAccount("a list of its clusters is damaged");
        const uint64_t count = LittleEndian(attribute, place, countBytes);
        const int64_t step = Signed(attribute, place + countBytes, firstBytes);
        const auto clusters = static_cast<int64_t>(layout.clusters);
        if (step < -clusters || step > clusters || first + step < 0 || first + step >= clusters || count == 0
            || count > static_cast<uint64_t>(clusters - (first + step)))
            throw NoAccount("a list of its clusters is damaged");
        first += step;
        runs.push_back({static_cast<uint64_t>(first), count});
        place += countBytes + firstBytes;
    }
    return runs;
}

/** Where the contents of the record's file stand. */
std::vector<Run> FindData(const std::string& record, const Layout& layout, bool needsAll)
{
    for (uint64_t place = LittleEndian(record, 20, 2); place + 8 <= record.size();) {
        const uint64_t type = LittleEndian(record, place, 4);
        const uint64_t size = LittleEndian(record, place + 4, 4);
        if (type == endOfAttributes || size < 24 || size > record.size() - place)
            break;
        if (type == attributeList && needsAll)
            throw NoAccount("the list of its clusters is in several pieces");
        const std::string attribute = record.substr(place, size);
        const bool named = attribute[9] != 0;
        if (type == data && !named) {
            if (attribute[8] != 1 || size < 64 || LittleEndian(attribute, 16, 8) != 0)
                break;
            if (needsAll && LittleEndian(attribute, 56, 8) < (layout.clusters + 7) / 8) // what was ever written to
                throw NoAccount("its bitmap is too short");
            return ParseRuns(attribute, LittleEndian(attribute, 32, 2), layout);
        }
        place += size;
    }
    throw NoAccount("a record of its master file table has no contents");
}

/** Where a record begins, in bytes; by the record of the table itself. */
uint64_t PlaceOfRecord(const std::vector<Run>& table, uint64_t number, const Layout& layout)
{
    uint64_t offset = number * layout.recordBytes;
    for (const Run& run : table) {
        const uint64_t bytes = run.count * layout.clusterBytes;
        if (offset < bytes && layout.recordBytes <= bytes - offset)
            return run.first * layout.clusterBytes + offset;
        if (offset < bytes)
            break;
        offset -= bytes;
    }
    throw NoAccount("its master file table is in too small pieces");
}
} // namespace

SpaceAccount AccountOfNtfs(const VolumeReader& volume)
{
    const Layout layout(volume);
    const std::string own = ReadRecord(volume, layout, layout.table * layout.clusterBytes);
    const uint64_t place = PlaceOfRecord(FindData(own, layout, false), bitmapRecord, layout);
    SpaceAccount account(layout.clusterBytes, layout.clusters, volume.Size());
    uint64_t number = 0;
    for (const Run& run : FindData(ReadRecord(volume, layout, place), layout, true)) {
        const uint64_t bytes = run.count * layout.clusterBytes;
        for (uint64_t done = 0; done < bytes && number < layout.clusters; done += piece) {
            const uint64_t size = std::min(piece, bytes - done);
            account.UseMarked(volume.Bytes(run.first * layout.clusterBytes + done, size), number, layout.clusters);
            number += size * 8;
        }
    }
    if (number < layout.clusters)
        throw NoAccount("its bitmap is too short");
    return account;
}
