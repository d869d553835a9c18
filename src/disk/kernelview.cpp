// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "kernelview.h"

#include "partitionname.h"
#include "savedtable.h"

#include <algorithm>

namespace {
constexpr unsigned firstLogical = 5;
constexpr unsigned ordinaryData = 0x83;

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
} // namespace

void AddKernelPartitions(const Device& disk, TableFile& file)
{
    const uint64_t unit = disk.sectorBytes / 512;
    const std::vector<KernelPartition> partitions = KernelPartitions(disk.number);
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
        if (line.number < firstLogical && listed != nullptr) {
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
