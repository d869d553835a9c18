// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "kernelview.h"

#include "descriptor.h"
#include "failure.h"
#include "partitionname.h"
#include "process.h"
#include "udev.h"

#include <algorithm>

#include <fcntl.h>
#include <linux/blkpg.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {
constexpr int nodeTries = 300; // of 100 ms each
constexpr unsigned firstLogical = 5;
constexpr unsigned ordinaryData = 0x83;
constexpr unsigned dynamicDisk = 0x42;

/** The type that a line of that place had, under whatever number. */
unsigned TypeAt(const std::vector<TableLine>& lines, uint64_t start)
{
    const auto line = std::find_if(lines.begin(), lines.end(), [start](const TableLine& each) {
        return each.size > 0 && each.number >= firstLogical && each.start == start;
    });
    return line == lines.end() ? ordinaryData : line->type;
}

bool IsWithinOther(const TableFile& file, const TableLine& part)
{
    return std::any_of(file.lines.begin(), file.lines.end(), [&part](const TableLine& line) {
        return line.size > 0 && line.number != part.number && !line.IsExtended() && part.start >= line.start
            && part.start + part.size <= line.start + line.size;
    });
}

/** Of the same number: the kernel's takes the place of the line. */
void PutLine(TableFile& file, const TableLine& line)
{
    const auto same = std::find_if(file.lines.begin(), file.lines.end(), [&line](const TableLine& each) {
        return each.number == line.number;
    });
    if (same != file.lines.end())
        *same = line;
    else
        file.lines.push_back(line);
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

bool IsSamePlace(const TableLine& line, const KernelPartition& partition, const Device& disk)
{
    const uint64_t unit = disk.sectorBytes / 512;
    const uint64_t end = disk.bytes / disk.sectorBytes;
    if (line.number != partition.number || line.start * unit != partition.start)
        return false;
    const uint64_t size = line.start < end ? std::min(line.size, end - line.start) : 0;
    return line.IsExtended() || size * unit == partition.size || line.size * unit == partition.size;
}

void AddKernelPartitions(const std::vector<KernelPartition>& partitions, const Device& disk, TableFile& file)
{
    const uint64_t unit = disk.sectorBytes / 512;
    const std::vector<TableLine> before = file.lines;
    for (const KernelPartition& partition : partitions) {
        const TableLine* const listed = file.Find(partition.number);
        if (listed != nullptr && IsSamePlace(*listed, partition, disk))
            continue;
        TableLine line;
        line.number = partition.number;
        line.start = partition.start / unit;
        line.size = partition.size / unit;
        line.type = TypeAt(before, line.start);
        const std::string name = "partition " + std::to_string(line.number);
        if (listed != nullptr && (line.number < firstLogical || file.IsGpt())) {
            file.warnings.push_back(name + " is elsewhere for the kernel than in the table; restart the machine first");
        } else if (!IsWithinOther(file, line)) {
            PutLine(file, line);
            file.warnings.push_back(name + " is known to the kernel alone; it is saved as others are");
        }
    }
    for (const TableLine& line : file.lines) {
        const bool known = std::any_of(partitions.begin(), partitions.end(), [&line](const KernelPartition& each) {
            return each.number == line.number;
        });
        if (!partitions.empty() && line.size > 0 && line.number > 0 && !known)
            file.warnings.push_back("partition " + std::to_string(line.number) + " is not offered by the kernel");
    }
    std::sort(file.lines.begin(), file.lines.end(), [](const TableLine& one, const TableLine& other) {
        return one.number < other.number;
    });
}

bool ShowsVolumes(const std::vector<KernelPartition>& partitions, const Device& disk, const TableFile& file)
{
    const bool isDynamic = !file.IsGpt() && std::any_of(file.lines.begin(), file.lines.end(), [](const auto& line) {
        return line.size > 0 && line.type == dynamicDisk;
    });
    return isDynamic && std::any_of(partitions.begin(), partitions.end(), [&](const KernelPartition& partition) {
        const TableLine* const line = file.Find(partition.number);
        return line == nullptr || !IsSamePlace(*line, partition, disk);
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
