// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "savedtable.h"

#include "contents.h"
#include "descriptor.h"
#include "disktable.h"
#include "failure.h"
#include "identity.h"
#include "imagerecord.h"
#include "kernelview.h"
#include "littleendian.h"
#include "tablewriter.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>

namespace {
constexpr uint64_t mostBootTrack = 32U << 20; // longer gaps hold nothing that a boot loader would use
constexpr uint64_t piece = 1U << 20;

/** Reads the places on a disk that stand outside its partitions. */
class RawReader
{
public:
    explicit RawReader(const Device& disk)
        : node(Descriptor::Open(disk.path, O_RDONLY))
        , disk(disk)
    {
        if (!node)
            throw SystemFailure(ExitStatus::Missing, disk.path + ": cannot be opened", errno);
    }

    std::string Bytes(uint64_t offset, uint64_t size) const
    {
        std::string bytes(size, '\0');
        if (ReadAt(node.Get(), bytes.data(), size, offset) != static_cast<ssize_t>(size))
            throw Failure(ExitStatus::Failed, disk.path + ": cannot be read at " + std::to_string(offset));
        return bytes;
    }

    uint64_t Number(uint64_t offset, unsigned size) const
    {
        return LittleEndian(Bytes(offset, size), 0, size);
    }

    /** What can't be read becomes zeros, and a warning. */
    void Save(TableFile& file, uint64_t offset, uint64_t size) const
    {
        for (uint64_t done = 0; done < size; done += piece) {
            const uint64_t place = offset + done;
            std::string bytes(std::min(piece, size - done), '\0');
            if (ReadAt(node.Get(), bytes.data(), bytes.size(), place) != static_cast<ssize_t>(bytes.size()))
                SaveSectors(file, bytes, place);
            file.raw.push_back({place, bytes});
        }
    }

private:
    void SaveSectors(TableFile& file, std::string& bytes, uint64_t place) const
    {
        std::fill(bytes.begin(), bytes.end(), '\0');
        for (uint64_t done = 0; done < bytes.size(); done += 512) {
            const size_t size = std::min<uint64_t>(512, bytes.size() - done);
            if (ReadAt(node.Get(), bytes.data() + done, size, place + done) != static_cast<ssize_t>(size))
                file.warnings.push_back("the sector at byte " + std::to_string(place + done) + " cannot be read");
        }
    }

    Descriptor node;
    const Device& disk;
};

void SaveBootTrack(const RawReader& reader, TableFile& file)
{
    uint64_t end = file.diskBytes / file.sectorBytes;
    for (const TableLine& line : file.lines) {
        if (line.size > 0)
            end = std::min(end, line.start);
    }
    const uint64_t size = std::max<uint64_t>(end * file.sectorBytes, 512);
    if (size > mostBootTrack && end < file.diskBytes / file.sectorBytes)
        file.warnings.push_back("of the space before the first partition only the first 32 MiB are saved");
    reader.Save(file, 0, std::min(size, mostBootTrack));
}

/** The chain of the sectors that describe logical partitions; each names the next one from the chain's beginning. */
void SaveExtendedRecords(const RawReader& reader, TableFile& file)
{
    const uint64_t sectors = file.diskBytes / file.sectorBytes;
    for (const TableLine& line : file.lines) {
        if (line.size == 0 || line.number > 4 || !line.IsExtended())
            continue;
        uint64_t place = line.start;
        for (size_t count = 0; count < 256 && place < sectors; ++count) {
            const uint64_t offset = place * file.sectorBytes;
            reader.Save(file, offset, file.sectorBytes);
            uint64_t next = 0;
            for (unsigned slot = 0; slot < 4 && next == 0; ++slot) {
                const uint64_t records = offset + 446 + uint64_t{16} * slot;
                const uint64_t type = reader.Number(records + 4, 1);
                const bool isLink = type == 0x05 || type == 0x0f || type == 0x85;
                if (isLink && reader.Number(records + 12, 4) > 0)
                    next = reader.Number(records + 8, 4);
            }
            if (next == 0)
                break;
            place = line.start + next;
        }
    }
}

/** A GPT's header and its entries, where the boot track doesn't have them. */
void SaveGptCopy(const RawReader& reader, TableFile& file, uint64_t place)
{
    const uint64_t offset = place * file.sectorBytes;
    const uint64_t sectors = file.diskBytes / file.sectorBytes;
    if (place >= sectors || reader.Bytes(offset, 8) != "EFI PART") {
        file.warnings.push_back("one of the two copies of the GPT is missing or damaged");
        return;
    }
    const uint64_t entries = reader.Number(offset + 72, 8);
    const uint64_t bytes = reader.Number(offset + 80, 4) * reader.Number(offset + 84, 4);
    const uint64_t length = (bytes + file.sectorBytes - 1) / file.sectorBytes;
    if (bytes > piece || entries > sectors || length > sectors - entries) {
        file.warnings.push_back("one of the two copies of the GPT is damaged");
        return;
    }
    const uint64_t saved = file.raw.empty() ? 0 : file.raw.back().offset + file.raw.back().bytes.size();
    if (place == 1 && (entries + length) * file.sectorBytes <= saved)
        return;
    reader.Save(file, entries * file.sectorBytes, length * file.sectorBytes);
    if (place != 1)
        reader.Save(file, offset, file.sectorBytes);
}

/** Where the first copy says, or at the end of the disk. */
uint64_t SecondCopyPlace(const RawReader& reader, const TableFile& file)
{
    const uint64_t last = file.diskBytes / file.sectorBytes - 1;
    const uint64_t named = reader.Number(file.sectorBytes + 32, 8);
    const bool isThere = named > 1 && named < last && reader.Bytes(named * file.sectorBytes, 8) == "EFI PART";
    return isThere ? named : last;
}

/** What can't be read of a table's other parts is a warning: the partitions can be saved nevertheless. */
template <class Work> void WarnOnFailure(TableFile& file, const Work& work)
{
    try {
        work();
    } catch (const Failure& failure) {
        file.warnings.emplace_back(failure.what());
    }
}

/**
 * Whether nothing but zeros is at the beginning, at the end and at places between, of 64 KiB each: whatever is used has
 * something at one of them, as the label of slices or what a cipher has written all over. What can't be read isn't
 * empty.
 */
bool LooksEmpty(const Device& partition)
{
    constexpr uint64_t sample = 64U << 10, samples = 256;
    const Descriptor node = Descriptor::Open(partition.path, O_RDONLY);
    const uint64_t last = partition.bytes - std::min(partition.bytes, sample);
    const uint64_t step = std::max(last / samples, sample);
    std::string bytes(std::min(partition.bytes, sample), '\0');
    for (uint64_t offset = 0;; offset = std::min(offset + step, last)) {
        if (ReadAt(node.Get(), bytes.data(), bytes.size(), offset) != static_cast<ssize_t>(bytes.size())
            || bytes.find_first_not_of('\0') != std::string::npos)
            return false;
        if (offset == last)
            return true;
    }
}

/**
 * The program has a swap area made anew and nothing of it saved: the line of what has its type but holds something else
 * shows that of an ordinary partition. The disk's own table keeps the type.
 */
void ShowAsData(TableLine& line, const Device& partition, const Contents& contents, TableFile& file)
{
    if (line.number == 0 || contents.type == "swap" || contents.type == "swsuspend"
        || (contents.type == "unknown" && LooksEmpty(partition)))
        return;
    file.warnings.push_back("partition " + std::to_string(line.number) + " has the type of swap but holds "
        + (contents.type == "unknown" ? "something else" : contents.type) + "; it is saved as others are");
    line.type = 0x83;
}

void SaveSwapIdentities(const Device& disk, TableFile& file)
{
    for (TableLine& line : file.lines) {
        if (line.size == 0 || !line.IsSwap())
            continue;
        try {
            const Device partition = line.number == 0 ? disk : Device::Find(PartitionName(disk.name, line.number));
            const Contents contents = ProbeContents(partition);
            if (contents.type == "swap" && !contents.uuid.empty())
                file.swaps.push_back({line.number, contents.uuid, contents.label});
            ShowAsData(line, partition, contents, file);
        } catch (const Failure&) {
            // The kernel doesn't offer the partition; then there is nothing in it either.
        }
    }
}

void WarnOfOddPlaces(TableFile& file)
{
    for (const TableLine& line : file.lines) {
        const std::string name = "partition " + std::to_string(line.number);
        if (line.size > 0 && line.start + line.size > file.diskBytes / file.sectorBytes)
            file.warnings.push_back(name + " ends beyond the end of the disk");
        if (line.size > 0 && line.start == 0)
            file.warnings.push_back(name + " covers the boot sector, as on a hybrid of a CD and a disk");
    }
}

void DescribeWithoutTable(const Device& disk, const Contents& contents, TableFile& file)
{
    const unsigned type = contents.type == "swap" ? 0x82 : 0;
    file.lines = {{0, 0, disk.bytes / disk.sectorBytes, type, false}};
    if (contents.type == "unknown")
        file.warnings.push_back("no partition table that can be saved; the disk is saved as a whole");
}

/** What was saved is written onto a sparse file of the disk's size: only that shows that it can be. */
void ProveWritable(TableFile& file)
{
    try {
        RehearseTable(file, {"", file.diskBytes, file.sectorBytes}, file.raw.front().bytes.substr(0, 512));
    } catch (const Failure& failure) {
        file.warnings.push_back(std::string("it cannot be written back as it was: ") + failure.what());
    }
}
} // namespace

TableFile DescribeDisk(const Device& disk)
{
    TableFile file;
    file.disk = disk.name;
    file.saved = TimeStamp();
    file.model = Printable(Identity::Of(disk.number).model);
    file.diskBytes = disk.bytes;
    file.sectorBytes = disk.sectorBytes;
    const Contents contents = ProbeContents(disk);
    const DiskTable table = ReadDiskTable({disk.path, disk.bytes, disk.sectorBytes});
    const RawReader reader(disk);
    const bool inUse = std::any_of(table.lines.begin(), table.lines.end(), [](const auto& line) {
        return line.size > 0;
    });
    const bool known = (table.kind == "dos" || table.kind == "gpt") && table.kind == contents.partitionTable
        && (inUse || contents.type == "unknown"); // the boot code of a file system can look like an empty table
    if (!known) {
        DescribeWithoutTable(disk, contents, file);
        reader.Save(file, 0, 512);
        SaveSwapIdentities(disk, file);
        return file;
    }
    file.lines = table.lines;
    file.native = table.native;
    SaveBootTrack(reader, file);
    if (table.kind == "gpt") {
        WarnOnFailure(file, [&] {
            SaveGptCopy(reader, file, 1);
        });
        WarnOnFailure(file, [&] {
            SaveGptCopy(reader, file, SecondCopyPlace(reader, file));
        });
    } else {
        WarnOnFailure(file, [&] {
            SaveExtendedRecords(reader, file);
        });
    }
    for (const std::string& complaint : table.complaints)
        file.warnings.push_back("libfdisk says: " + complaint);
    AddKernelPartitions(disk, file);
    SaveSwapIdentities(disk, file);
    WarnOfOddPlaces(file);
    if (contents.type.find("_member") != std::string::npos)
        file.warnings.push_back("the whole disk is marked as " + contents.type + ", and this is not saved");
    ProveWritable(file);
    return file;
}

bool IsSamePlace(const TableLine& line, const KernelPartition& partition, const Device& disk)
{
    const uint64_t unit = disk.sectorBytes / 512;
    const uint64_t end = disk.bytes / disk.sectorBytes;
    if (line.number != partition.number || line.start * unit != partition.start)
        return false;
    const uint64_t size = line.start < end ? std::min(line.size, end - line.start) : 0;
    return line.IsExtended() || size * unit == partition.size || line.size * unit == partition.size;
}
