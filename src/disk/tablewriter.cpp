// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "tablewriter.h"

#include "descriptor.h"
#include "failure.h"
#include "process.h"
#include "savedtable.h"
#include "udev.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <linux/blkpg.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
constexpr int nodeTries = 300; // of 100 ms each

bool IsGpt(const TableFile& file)
{
    return ("\n" + file.native).find("\nlabel: gpt\n") != std::string::npos;
}

uint64_t LastSector(const TableFile& file)
{
    uint64_t last = 0;
    for (const TableLine& line : file.lines)
        last = std::max(last, line.start + line.size);
    return last;
}

/** Whether the raw bytes can be written as they are. A GPT for a larger disk names sectors that this one lacks. */
bool RawFits(const TableFile& file, const TablePlace& place)
{
    if (file.raw.empty() || file.sectorBytes != place.sectorBytes)
        return false;
    if (IsGpt(file))
        return place.bytes >= file.diskBytes;
    return std::all_of(file.raw.begin(), file.raw.end(), [&place](const RawArea& area) {
        return area.offset + area.bytes.size() <= place.bytes;
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
    const bool moves = IsGpt(file) && place.bytes != file.diskBytes;
    std::vector<const RawArea*> areas;
    for (const RawArea& area : file.raw) {
        // The first one has the first copy, also where there is no partition.
        if (!moves || area.offset == 0 || area.offset < LastSector(file) * file.sectorBytes)
            areas.push_back(&area);
    }
    std::reverse(areas.begin(), areas.end());
    for (const RawArea* area : areas)
        WriteBytes(place, area->offset, area->bytes);
    for (const RawArea* area : areas) {
        if (ReadBack(place, area->offset, area->bytes.size()) != area->bytes)
            throw Failure(ExitStatus::Failed, "it reads back differently");
    }
    if (!moves)
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
    const size_t kept = IsGpt(file) ? 446 : 440;
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

/**
 * Whether libfdisk sees the partitions of the lines in their places, whatever else it thinks of the table. Logical ones
 * may be known to the kernel alone, or under another number to libfdisk.
 */
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
        return has(table.lines, line) || (line.number > 4 && table.kind == "dos");
    };
    return std::all_of(file.lines.begin(), file.lines.end(), isSeen)
        && std::all_of(table.lines.begin(), table.lines.end(), [&](const TableLine& line) {
               return has(file.lines, line);
           });
}

bool ChangePartition(int disk, int operation, const KernelPartition& partition)
{
    blkpg_partition change = {};
    change.start = static_cast<long long>(partition.start) * 512;
    change.length = static_cast<long long>(partition.size) * 512;
    change.pno = static_cast<int>(partition.number);
    blkpg_ioctl_arg argument = {operation, 0, sizeof change, &change};
    return ioctl(disk, BLKPG, &argument) == 0;
}

/** The partition in /sys that a line means; its number is 0 where the kernel has none in that place. */
KernelPartition Offered(const TableLine& line, const Device& disk)
{
    for (const KernelPartition& partition : KernelPartitions(disk.number)) {
        if (IsSamePlace(line, partition, disk))
            return partition;
    }
    return {};
}

bool OffersAll(const TableFile& file, const Device& disk)
{
    return std::all_of(file.lines.begin(), file.lines.end(), [&disk](const TableLine& line) {
        return line.size == 0 || line.number == 0 || Offered(line, disk).number != 0;
    });
}

/** For a kernel that does not read partition tables itself, as with some loop devices. */
void OfferOneByOne(int node, const TableFile& file, const Device& disk)
{
    const uint64_t unit = disk.sectorBytes / 512;
    for (const KernelPartition& partition : KernelPartitions(disk.number))
        ChangePartition(node, BLKPG_DEL_PARTITION, partition);
    for (const TableLine& line : file.lines) {
        const uint64_t end = disk.bytes / disk.sectorBytes;
        const uint64_t whole = line.start < end ? std::min(line.size, end - line.start) * unit : 0;
        const uint64_t size = line.IsExtended() ? std::min(std::max<uint64_t>(2, unit), whole) : whole;
        if (size > 0 && line.number > 0)
            ChangePartition(node, BLKPG_ADD_PARTITION, {line.number, line.start * unit, size, 0});
    }
}

bool LeadsTo(const std::string& path, dev_t device)
{
    return device != 0 && BlockNumber(path) == device;
}
} // namespace

void RefuseUnfitDisk(const TableFile& file, const Device& disk)
{
    if (file.sectorBytes != disk.sectorBytes) {
        throw Failure(ExitStatus::Refused,
            disk.path + " has sectors of " + std::to_string(disk.sectorBytes)
                + " bytes, the saved table counts in sectors of " + std::to_string(file.sectorBytes));
    }
    uint64_t needed = LastSector(file);
    const uint64_t sectors = disk.bytes / disk.sectorBytes;
    // A partition that ended beyond its own disk may do so again.
    if (file.diskBytes != 0 && disk.bytes >= file.diskBytes)
        return;
    if (IsGpt(file))
        needed += 1 + (16384 + disk.sectorBytes - 1) / disk.sectorBytes; // the second copy
    if (needed > sectors) {
        throw Failure(ExitStatus::Refused,
            disk.path + " is too small: it has " + std::to_string(sectors) + " sectors, the saved table needs "
                + std::to_string(needed));
    }
}

void WriteTable(const TableFile& file, const TablePlace& place, const std::string& bootSector)
{
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

bool IsInPartition(const TableFile& file, uint64_t offset)
{
    return std::any_of(file.lines.begin(), file.lines.end(), [&file, offset](const TableLine& line) {
        return !line.IsExtended() && offset >= line.start * file.sectorBytes
            && offset < (line.start + line.size) * file.sectorBytes;
    });
}

void TellKernel(const TableFile& file, const Device& disk)
{
    const Descriptor node = Descriptor::Open(disk.path, O_RDONLY);
    for (int tries = 0; tries < 20; ++tries) {
        if (ioctl(node.Get(), BLKRRPART) != 0 || !OffersAll(file, disk))
            OfferOneByOne(node.Get(), file, disk);
        if (OffersAll(file, disk))
            return;
        StopRequest::Check();
        usleep(100000); // somebody looks at the disk
    }
    throw Failure(ExitStatus::Failed,
        disk.path
            + ": the table is written, but the kernel does not offer its partitions as it says; restart the machine "
              "before "
              "restoring partitions");
}

void WaitForNodes(const TableFile& file, const Device& disk)
{
    SettleUdev(); // it reads the table again once the disk is closed, and takes away the links that are there still
    for (const TableLine& line : file.lines) {
        const std::string path = "/dev/" + PartitionName(disk.name, line.number);
        for (int tries = 0;
             line.size > 0 && !LeadsTo(path, line.number == 0 ? disk.number : Offered(line, disk).device); ++tries) {
            if (tries == nodeTries) {
                throw Failure(ExitStatus::Failed,
                    disk.path + ": the table is written, but " + path
                        + " does not lead to its partition; correct the links in /dev before restoring partitions");
            }
            StopRequest::Check();
            usleep(100000);
        }
    }
}
