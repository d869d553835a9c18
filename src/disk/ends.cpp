// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "ends.h"

#include "descriptor.h"
#include "failure.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

#include <fcntl.h>
#include <unistd.h>

namespace {
constexpr uint64_t most = std::numeric_limits<uint64_t>::max();
constexpr uint64_t endBytes = 1U << 20;

/** Bytes of the disk, the last one not included. */
struct Range
{
    uint64_t begin = 0;
    uint64_t end = 0;
};

/** A line of a foreign file may name places far beyond any disk. */
Range RangeOf(const TableLine& line, unsigned sectorBytes)
{
    const uint64_t begin = std::min(line.start, most / sectorBytes) * sectorBytes;
    return {begin, begin + std::min(std::min(line.size, most / sectorBytes) * sectorBytes, most - begin)};
}

/** Zeros in the part of a disk that begins at `origin`, wherever nothing is kept. */
class Eraser
{
public:
    Eraser(std::string path, uint64_t origin, std::vector<Range> kept)
        : node(Descriptor::Open(path, O_RDWR))
        , path(std::move(path))
        , origin(origin)
        , kept(std::move(kept))
    {
        std::sort(this->kept.begin(), this->kept.end(), [](const Range& one, const Range& other) {
            return one.begin < other.begin;
        });
    }

    /** A disk with bad sectors where nothing is saved is good enough to go on. */
    void Clear(Range range) const
    {
        bool isClear = true;
        uint64_t place = range.begin;
        for (const Range& each : kept) {
            isClear = Write({place, std::min(each.begin, range.end)}) && isClear;
            place = std::max(place, each.end);
        }
        isClear = Write({place, range.end}) && isClear;
        if (!isClear || fsync(node.Get()) != 0)
            Warn(path + ": marks of earlier uses cannot be cleared at its end or beginning: " + strerror(errno));
    }

private:
    bool Write(Range range) const
    {
        if (range.begin >= range.end)
            return true;
        const std::string zeros(range.end - range.begin, '\0');
        return WriteAt(node.Get(), zeros.data(), zeros.size(), range.begin - origin);
    }

    Descriptor node;
    std::string path;
    uint64_t origin;
    std::vector<Range> kept;
};
} // namespace

void ClearDiskEnd(const TableFile& file, const TablePlace& place)
{
    std::vector<Range> kept;
    for (const TableLine& line : file.lines)
        kept.push_back(RangeOf(line, file.sectorBytes));
    Eraser(place.path, 0, kept).Clear({place.bytes - std::min(place.bytes, endBytes), place.bytes});
}

void ClearPartitionEnds(const TableFile& file, const TableLine& line, const Device& partition)
{
    std::vector<Range> kept;
    for (const RawArea& area : file.raw)
        kept.push_back({area.offset, area.offset + std::min<uint64_t>(area.bytes.size(), most - area.offset)});
    for (const TableLine& other : file.lines) {
        if (other.number != line.number && !other.IsExtended())
            kept.push_back(RangeOf(other, file.sectorBytes));
    }
    const uint64_t begin = RangeOf(line, file.sectorBytes).begin;
    const uint64_t size = std::min(partition.bytes, endBytes);
    const Eraser eraser(partition.path, begin, kept);
    eraser.Clear({begin, begin + size});
    eraser.Clear({begin + partition.bytes - size, begin + partition.bytes});
}
