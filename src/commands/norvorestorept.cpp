// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

// norvoRestorePT DISK FILE: writes the partition table saved in FILE onto /dev/DISK.
//
// FILE comes from norvoClonePT, which keeps all that stands outside the partitions in it, or from another tool that
// writes the same partition lines; then the lines and the disk identifier in the boot sector make up the table. The
// boot sector has been written back just before. Nothing is written before every check has passed.

#include "authenticity.h"
#include "command.h"
#include "contents.h"
#include "descriptor.h"
#include "failure.h"
#include "kernelview.h"
#include "lock.h"
#include "medium.h"
#include "runentry.h"
#include "runrecord.h"
#include "tablewriter.h"
#include "use.h"

#include <algorithm>
#include <filesystem>

#include <fcntl.h>

namespace {
std::string ReadBootSector(const Device& disk)
{
    const Descriptor node = Descriptor::Open(disk.path, O_RDONLY);
    std::string sector(512, '\0');
    if (ReadAt(node.Get(), sector.data(), sector.size(), 0) != static_cast<ssize_t>(sector.size()))
        throw Failure(ExitStatus::Failed, disk.path + ": cannot be read");
    return sector;
}

/** The boot sector beside the table file has just been written, and gives way to the table's own. */
void WarnOfOtherBootSector(const TableFile& table, const std::string& path)
{
    const std::string saved = std::filesystem::path(path).replace_extension(".mbr");
    if (Medium::Exists(saved) && table.IsOtherBootSector(Medium::Read(saved, 4096)))
        Warn(saved + " and " + path + " have different boot sectors: one of them is damaged or of another run");
}

/** A disk with bad sectors has many, of which the first tell enough. */
void WarnAsWhenSaved(const TableFile& table, const std::string& path)
{
    constexpr size_t most = 50;
    for (size_t i = 0; i < std::min(most, table.warnings.size()); ++i)
        Warn(path + ": when it was saved: " + table.warnings[i]);
    if (table.warnings.size() > most)
        Warn(path + ": and " + std::to_string(table.warnings.size() - most) + " warnings more, which stand in it");
}

/** libfdisk's description of a table that is known by its lines alone. */
std::string NativeOfLines(const TableFile& table, const std::string& bootSector)
{
    const auto byte = [&bootSector](size_t place) {
        return static_cast<unsigned>(static_cast<unsigned char>(bootSector[place]));
    };
    char text[96];
    snprintf(text, sizeof text, "label: dos\nlabel-id: 0x%02x%02x%02x%02x\nunit: sectors\n\n", byte(443), byte(442),
        byte(441), byte(440));
    std::string native = text;
    for (const TableLine& line : table.lines) {
        if (line.size == 0)
            continue;
        snprintf(text, sizeof text, " : start=%llu, size=%llu, type=%x%s\n",
            static_cast<unsigned long long>(line.start), static_cast<unsigned long long>(line.size), line.type,
            line.bootable ? ", bootable" : "");
        native += "/dev/" + PartitionName(table.disk, line.number) + text;
    }
    return native;
}

/**
 * What earlier uses of the disk left outside the boot sector and the partitions. Both headers of a GPT survive the
 * writing of a DOS table otherwise, and are believed.
 */
void ClearStaleSignatures(const TableFile& table, const Device& disk)
{
    ClearSignatures(disk, [&table](uint64_t offset) {
        return offset < 512 || IsInPartition(table, offset);
    });
}

void RestoreTable(TableFile& table, const Device& disk)
{
    const std::string bootSector = ReadBootSector(disk);
    if (table.native.empty())
        table.native = NativeOfLines(table, bootSector);
    const TablePlace place = {disk.path, disk.bytes, disk.sectorBytes};
    try {
        RehearseTable(table, place, bootSector);
    } catch (const Failure& failure) {
        throw Failure(ExitStatus::Refused, disk.path + ": the saved table does not fit: " + failure.what());
    }
    ClearStaleSignatures(table, disk);
    try {
        WriteTable(table, place, bootSector);
    } catch (const Failure& failure) {
        throw Failure(ExitStatus::Failed, disk.path + ": the partition table cannot be written: " + failure.what());
    }
    FlushDevice(disk);
    TellKernel(table, disk);
}

/** The volumes of a Windows dynamic disk stand in it. */
void WarnOfLostDatabase(const TableFile& table, const Device& disk)
{
    if (LosesDatabase(table, disk)) {
        Warn(disk.path + " has " + std::to_string(disk.bytes) + " bytes, the saved disk had "
            + std::to_string(table.diskBytes)
            + ": the database of its dynamic volumes has its place at the end of a disk of that size and is left out; "
              "restore onto such a disk if Windows is to find the volumes");
    }
}
} // namespace

int main(int argc, char** argv)
{
    return RunCommandMain(argc, argv, "DISK FILE", [](const std::vector<std::string>& arguments) {
        RunRecord::Expect(arguments[0]);
        Device disk = Device::FindDisk(arguments[0]);
        DiskLock lock(disk);
        RunRecord::Begin(arguments[1], disk, disk.name, {});
        Introduce(disk);
        TableFile table = TableFile::Read(arguments[1]);
        RefuseUnfitDisk(table, disk);
        RefuseUse(disk, Access::Write);
        JudgeAuthenticity(disk.name + ": the partition table", [&](const Authentication& key) {
            return key.FaultOf(table, arguments[1]);
        });
        WarnAsWhenSaved(table, arguments[1]);
        WarnOfLostDatabase(table, disk);
        if (table.IsWholeDisk()) {
            Say(disk.name + ": the disk was saved as a whole, there is no partition table to write");
            return;
        }
        const std::string why
            = RunEntry::LaterFailure(RunEntry::Read(RunRecordPath(arguments[1])), table.disk, table.seal);
        if (!why.empty())
            Warn(arguments[1] + ": it is of an earlier run (" + table.saved + "); the later run says: " + why);
        WarnOfOtherBootSector(table, arguments[1]);
        RestoreTable(table, disk);
        lock.Release(); // udev makes the links for the new partitions now
        WaitForNodes(table, disk);
    });
}
