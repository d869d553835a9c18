// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "tablewriter.h"

#include "descriptor.h"
#include "ends.h"
#include "failure.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {
/**
 * What was saved from behind the last partition belongs to the end of a disk of that size: the second copy of a GPT,
 * which is made anew elsewhere, or the database of a dynamic disk. The first area has the first copy of a GPT, also
 * where there is no partition.
 */
std::vector<const RawArea*> AreasFor(const TableFile& file, uint64_t diskBytes)
{
    std::vector<const RawArea*> areas;
    for (const RawArea& area : file.raw) {
        if (diskBytes == file.diskBytes || area.offset == 0 || area.offset < file.EndOfPartitions() * file.sectorBytes)
            areas.push_back(&area);
    }
    return areas;
}

/** Whether the raw bytes can be written as they are. A GPT for a larger disk names sectors that this one lacks. */
bool RawFits(const TableFile& file, const TablePlace& place)
{
    if (file.raw.empty() || file.sectorBytes != place.sectorBytes)
        return false;
    if (file.IsGpt())
        return place.bytes >= file.diskBytes;
    const std::vector<const RawArea*> areas = AreasFor(file, place.bytes);
    return std::all_of(areas.begin(), areas.end(), [&place](const RawArea* area) {
        return area->offset + area->bytes.size() <= place.bytes;
    });
}

std::string ReadBack(const TablePlace& place, uint64_t offset, size_t size)
{
    const Descriptor node = Descriptor::Open(place.path, O_RDONLY);
    std::string bytes(size, '\0');
    if (ReadAt(node.Get(), bytes.data(), size, offset) != static_cast<ssize_t>(size))
        throw Failure(ExitStatus::Failed, "it cannot be read back");
    return bytes;
}

void WriteBytes(const TablePlace& place, uint64_t offset, const std::string& bytes)
{
    const Descriptor node = Descriptor::Open(place.path, O_RDWR);
    if (!node || !WriteAt(node.Get(), bytes.data(), bytes.size(), offset) || fsync(node.Get()) != 0)
        throw SystemFailure(ExitStatus::Failed, "it cannot be written", errno);
}

/** Whether the table there has what the file says. */
bool IsWritten(const TableFile& file, const TablePlace& place)
{
    return ReadDiskTable(place).Comparable() == ComparableNative(file.native);
}

/** Of the protective entry of a GPT: there is firmware that starts from an active one only. */
void KeepActiveMark(std::string& made, const std::string& bootSector)
{
    constexpr size_t entry = 446, type = entry + 4;
    if (made[type] == '\xee' && bootSector[type] == '\xee')
        made[entry] = bootSector[entry];
}

/** The boot sector comes last: without it nothing takes what is there for a table. */
void WriteRaw(const TableFile& file, const TablePlace& place)
{
    std::vector<const RawArea*> areas = AreasFor(file, place.bytes);
    std::reverse(areas.begin(), areas.end());
    for (const RawArea* area : areas)
        WriteBytes(place, area->offset, area->bytes);
    for (const RawArea* area : areas) {
        if (ReadBack(place, area->offset, area->bytes.size()) != area->bytes)
            throw Failure(ExitStatus::Failed, "it reads back differently");
    }
    if (!file.IsGpt() || place.bytes == file.diskBytes)
        return;
    MoveSecondCopy(place);
    std::string bootSector = ReadBack(place, 0, 512);
    KeepActiveMark(bootSector, areas.back()->bytes);
    WriteBytes(place, 0, bootSector);
}

/**
 * libfdisk leaves the boot code alone but not the rest, such as cylinder numbers, the disk signature of a GPT disk and
 * its hybrid records. What was there before stays wherever the table is the same with it and libfdisk has nothing to
 * complain of, such as a protective entry made for a disk of another size.
 */
void KeepBootSector(const TableFile& file, const TablePlace& place, const std::string& bootSector)
{
    const std::string made = ReadBack(place, 0, 512);
    const auto fits = [&] {
        return IsWritten(file, place) && ReadDiskTable(place).complaints.empty();
    };
    WriteBytes(place, 0, bootSector);
    if (fits())
        return;
    // On a GPT's disk the number behind the boot code is that of the disk too.
    const size_t kept = file.IsGpt() ? 446 : 440;
    std::string mixed = bootSector.substr(0, kept) + made.substr(kept);
    KeepActiveMark(mixed, bootSector);
    WriteBytes(place, 0, mixed);
    if (!fits())
        WriteBytes(place, 0, made);
}

void WriteAnew(const TableFile& file, const TablePlace& place, const std::string& bootSector)
{
    uint64_t end = 0;
    // The gap before the first partition may hold a boot loader's core: the pieces from the beginning on, without a
    // gap.
    for (const RawArea& area : file.raw) {
        if (area.offset != end || file.sectorBytes != place.sectorBytes || end + area.bytes.size() > place.bytes)
            break;
        WriteBytes(place, area.offset, area.bytes);
        end += area.bytes.size();
    }
    if (end == 0)
        WriteBytes(place, 0, bootSector);
    const std::string before = ReadBack(place, 0, 512);
    ApplyNative(place, file.native);
    KeepBootSector(file, place, before);
}

/** Whether libfdisk saw the partition of that line when the table was saved; there are some that the kernel alone has.
 */
bool IsInNative(const TableFile& file, const TableLine& line)
{
    const std::string text = "\n" + std::to_string(line.number) + ":start=" + std::to_string(line.start) + ",";
    return ("\n" + ComparableNative(file.native)).find(text) != std::string::npos;
}

/** Whether libfdisk sees the partitions of the lines in their places, whatever else it thinks of the table. */
bool HasPartitions(const TableFile& file, const TablePlace& place)
{
    const DiskTable table = ReadDiskTable(place);
    const auto has = [](const std::vector<TableLine>& lines, const TableLine& line) {
        return std::any_of(lines.begin(), lines.end(), [&line](const TableLine& each) {
            return each.start == line.start && each.size == line.size
                && (each.number == line.number || (each.number > 4 && line.number > 4));
        });
    };
    const auto isSeen = [&](const TableLine& line) {
        return has(table.lines, line) || !IsInNative(file, line);
    };
    return std::all_of(file.lines.begin(), file.lines.end(), isSeen)
        && std::all_of(table.lines.begin(), table.lines.end(), [&](const TableLine& line) {
               return has(file.lines, line);
           });
}
} // namespace

void RefuseUnfitDisk(const TableFile& file, const Device& disk)
{
    if (file.sectorBytes != disk.sectorBytes) {
        throw Failure(ExitStatus::Refused,
            disk.path + " has sectors of " + std::to_string(disk.sectorBytes)
                + " bytes, the saved table counts in sectors of " + std::to_string(file.sectorBytes));
    }
    uint64_t needed = file.EndOfPartitions();
    const uint64_t sectors = disk.bytes / disk.sectorBytes;
    // A partition that ended beyond its own disk may do so again.
    if (file.diskBytes != 0 && disk.bytes >= file.diskBytes)
        return;
    if (file.IsGpt())
        needed += 1 + (16384 + disk.sectorBytes - 1) / disk.sectorBytes; // the second copy
    if (needed > sectors) {
        throw Failure(ExitStatus::Refused,
            disk.path + " is too small: it has " + std::to_string(sectors) + " sectors, the saved table needs "
                + std::to_string(needed));
    }
}

void WriteTable(const TableFile& file, const TablePlace& place, const std::string& bootSector)
{
    ClearDiskEnd(file, place);
    bool raw = RawFits(file, place);
    if (raw)
        WriteRaw(file, place);
    // On a disk of another size nothing leads from a first copy that was damaged to the second one.
    raw = raw && (place.bytes == file.diskBytes || HasPartitions(file, place));
    if (!raw)
        WriteAnew(file, place, bootSector);
    if (!(raw ? HasPartitions(file, place) : IsWritten(file, place)))
        throw Failure(ExitStatus::Failed, "the table reads back differently");
}

void RehearseTable(const TableFile& file, TablePlace place, const std::string& bootSector)
{
    const Descriptor memory(memfd_create("disk", MFD_CLOEXEC));
    if (!memory || ftruncate(memory.Get(), static_cast<off_t>(place.bytes)) != 0)
        throw SystemFailure(ExitStatus::Failed, "no memory for a trial", errno);
    place.path = "/proc/self/fd/" + std::to_string(memory.Get());
    WriteTable(file, place, bootSector);
}

bool LosesDatabase(const TableFile& file, const Device& disk)
{
    return !file.IsGpt() && file.EndOfPartitions() > 0 && AreasFor(file, disk.bytes).size() < file.raw.size();
}

bool IsInPartition(const TableFile& file, uint64_t offset)
{
    return std::any_of(file.lines.begin(), file.lines.end(), [&file, offset](const TableLine& line) {
        return !line.IsExtended() && offset >= line.start * file.sectorBytes
            && offset < (line.start + line.size) * file.sectorBytes;
    });
}
