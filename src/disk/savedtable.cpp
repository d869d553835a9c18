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
#include "rawareas.h"
#include "tablewriter.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>

namespace {
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
    file.native.clear();
    file.lines = {{0, 0, disk.bytes / disk.sectorBytes, type, false}};
    if (contents.type == "unknown" || HoldsPartitions(disk))
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
    const bool inUse = std::any_of(table.lines.begin(), table.lines.end(), [](const auto& line) {
        return line.size > 0;
    });
    const bool known = (table.kind == "dos" || table.kind == "gpt") && table.kind == contents.partitionTable
        && (inUse || contents.type == "unknown"); // the boot code of a file system can look like an empty table
    const std::vector<KernelPartition> partitions = KernelPartitions(disk.number);
    file.lines = table.lines;
    file.native = table.native;
    if (!known || ShowsVolumes(partitions, disk, file)) {
        DescribeWithoutTable(disk, contents, file);
        SaveRawAreas(disk, file);
        SaveSwapIdentities(disk, file);
        return file;
    }
    SaveRawAreas(disk, file);
    for (const std::string& complaint : table.complaints)
        file.warnings.push_back("libfdisk says: " + complaint);
    AddKernelPartitions(partitions, disk, file);
    SaveSwapIdentities(disk, file);
    WarnOfOddPlaces(file);
    if (contents.type.find("_member") != std::string::npos)
        file.warnings.push_back("the whole disk is marked as " + contents.type + ", and this is not saved");
    ProveWritable(file);
    return file;
}
