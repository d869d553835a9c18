// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

// norvoPartimageRestore DIR PART VOLUME: writes the image whose first volume is DIR/VOLUME onto the partition
// /dev/PART.
//
// Before the first byte is written the image has proved whole, and the partition to be the one that the set's
// partition table names. The image may be in one volume or in several, and may lack a record.

#include "authenticity.h"
#include "command.h"
#include "contents.h"
#include "descriptor.h"
#include "ends.h"
#include "failure.h"
#include "imagereader.h"
#include "kernelview.h"
#include "littleendian.h"
#include "lock.h"
#include "medium.h"
#include "process.h"
#include "progress.h"
#include "runentry.h"
#include "runrecord.h"
#include "use.h"
#include "writeguard.h"

#include <optional>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>

namespace {
std::string BaseOfVolume(const std::string& volume)
{
    if (volume.size() < 4 || volume.compare(volume.size() - 4, 4, ".000") != 0)
        throw Failure(ExitStatus::Usage, volume + ": the name of a first volume ends in .000");
    return volume.substr(0, volume.size() - 4);
}

/** The line of the set's table that means this partition, in the place where the kernel has it. */
TableLine FindLine(const Device& partition, const Device& disk, const TableFile& table, const std::string& path)
{
    const auto kernel = FindKernelPartition(partition.number);
    const TableLine* line = table.Find(kernel ? kernel->number : 0);
    if (line == nullptr)
        throw Failure(ExitStatus::Refused, partition.path + " is not in the set's partition table " + path);
    if (table.sectorBytes != disk.sectorBytes || (kernel && !IsSamePlace(*line, *kernel, disk))) {
        throw Failure(ExitStatus::Refused,
            partition.path + " is not where the set's partition table " + path
                + " has it: restore the partition table first");
    }
    if (!kernel && line->size > disk.bytes / disk.sectorBytes) {
        throw Failure(ExitStatus::Refused,
            partition.path + " is too small: it has " + std::to_string(disk.bytes / disk.sectorBytes)
                + " sectors, the image needs " + std::to_string(line->size));
    }
    return *line;
}

/** That the image is the one of this partition in this set. */
void CheckIdentity(const ImageRecord& record, const TableFile& table, const TableLine& line,
    const std::vector<RunEntry>& run, const std::string& path)
{
    const std::string mismatch = record.Mismatch(table, line);
    if (!mismatch.empty())
        throw Failure(ExitStatus::Refused, path + ": " + mismatch);
    if (record.IsOfEarlierRun(table)) {
        Warn(path + ": the image is of an earlier run (" + record.saved + ") than the partition table of its set ("
            + table.saved + "): the later run could not save this partition");
        return;
    }
    const std::string why = RunEntry::LaterFailure(run, record.partition, record.sha256, record.saved);
    if (!why.empty())
        Warn(path + ": the image is of an earlier run (" + record.saved + "); the later run says: " + why);
}

void JudgeImage(const Device& partition, const std::optional<ImageRecord>& record, const ImageFiles& files,
    const TableFile& table, const std::string& tablePath)
{
    JudgeAuthenticity(partition.name + ": the image", [&](const Authentication& key) {
        Remark fault = key.FaultOf(table, tablePath);
        if (!fault.IsEmpty())
            return fault;
        return record ? key.FaultOf(*record, files.Record(), table) : Authentication::Lacks(files.Record());
    });
}

void RefuseUnfit(const Device& partition, const TableLine& line, const std::string& head, const std::string& path)
{
    const auto header = ImageHeader::Parse(head);
    if (!header)
        throw Failure(ExitStatus::Damaged,
            path + ": this is not an image of a partition, or one of another format, or its beginning is damaged");
    if (line.IsExtended())
        throw Failure(
            ExitStatus::Refused, partition.path + " is an extended partition; an image in it would break the table");
    RefuseUse(partition, Access::Write);
    if (!header->Fits(partition.bytes)) {
        throw Failure(ExitStatus::Refused,
            partition.path + " is too small: it has " + std::to_string(partition.bytes) + " bytes, the image needs "
                + std::to_string(header->NeededBytes()));
    }
}

/** NTFS keeps a copy of its boot sector right behind the sectors that it counts; partclone does not save it. */
void WriteNtfsCopy(const Device& partition)
{
    if (ProbeContents(partition).type != "ntfs")
        return;
    const Descriptor node = Descriptor::Open(partition.path, O_RDWR);
    std::string sector(4096, '\0');
    ReadAt(node.Get(), sector.data(), sector.size(), 0);
    const uint64_t size = LittleEndian(sector, 11, 2);
    const uint64_t place = LittleEndian(sector, 40, 8);
    if (size == 0 || size > sector.size() || place >= partition.bytes / size)
        return;
    if (!WriteAt(node.Get(), sector.data(), size, place * size))
        throw Failure(ExitStatus::Failed, partition.path + ": the copy of its boot sector cannot be written");
}

/** A disk without a table: what its file system leaves free at the beginning, such as boot code, comes back too. */
void WriteBeginning(const Device& disk, const TableFile& table)
{
    const Descriptor node = Descriptor::Open(disk.path, O_RDWR);
    for (const RawArea& area : table.raw) {
        if (!WriteAt(node.Get(), area.bytes.data(), area.bytes.size(), area.offset))
            throw Failure(ExitStatus::Failed, disk.path + ": its beginning cannot be written");
    }
    ioctl(node.Get(), BLKRRPART); // partitions of before are there no more
}

/** First the marks of what was there go: those that the image does not overwrite would make it ambiguous. */
void WriteImage(const Device& disk, const Device& partition, const ImageVolumes& volumes,
    const std::optional<ImageRecord>& record, const TableFile& table)
{
    RunRecord::Enter("write");
    Progress::Print(partition.name);
    WriteGuard guard(partition);
    const auto kernel = FindKernelPartition(partition.number);
    if (kernel)
        WipeDiskSignatures(disk, partition, kernel->start * 512);
    WipeSignatures(partition);
    ClearPartitionEnds(table, *table.Find(kernel ? kernel->number : 0), partition);
    volumes.WriteTo(partition, record ? record->sha256 : "");
    // Of the same run: another one's boot sector describes another file system.
    if (table.IsWholeDisk() && record && record->table == table.seal)
        WriteBeginning(partition, table);
    WriteNtfsCopy(partition);
    FlushDevice(partition);
    guard.Done();
}

void Report(const Device& partition, const std::optional<ImageRecord>& record)
{
    if (record && !record->state.empty() && record->state != "clean")
        Say(partition.name + ": it was saved as it was: " + record->state);
    if (record && !record->bad.empty()) {
        Warn(partition.path + ": " + std::to_string(record->BadBytes()) + " bytes in "
            + std::to_string(record->bad.size()) + " places could not be read when it was saved (the first at "
            + std::to_string(record->bad.front().first) + "); zeros stand there: check the file system");
    }
    Say(partition.name + ": restored");
}
} // namespace

int main(int argc, char** argv)
{
    return RunCommandMain(argc, argv, "DIR PART VOLUME", [](const std::vector<std::string>& arguments) {
        const std::string& folder = arguments[0];
        RunRecord::Expect(arguments[1]);
        const ImageFiles files(folder, arguments[1], BaseOfVolume(arguments[2]));
        NeedCommands({"lbzip2", "partclone.chkimg"});
        NeedFolder(folder);
        const ImageVolumes volumes(files);
        Device partition = Device::Find(arguments[1]);
        const DiskLock lock(partition);
        const Device disk = DiskOf(partition);
        const std::string tablePath = files.Table(disk.name);
        RunRecord::Begin(tablePath, disk, partition.name, {"lbzip2"});
        Introduce(disk);
        const TableFile table = TableFile::Read(tablePath);
        const TableLine line = FindLine(partition, disk, table, tablePath);
        std::optional<ImageRecord> record;
        if (Medium::Exists(files.Record()))
            record = ImageRecord::Read(files.Record());
        JudgeImage(partition, record, files, table, tablePath);
        if (record) {
            CheckIdentity(*record, table, line, RunEntry::Read(RunRecordPath(tablePath)), volumes.FirstPath());
            RunRecord::Note(*record);
        }
        const std::string head = volumes.Head();
        const bool extended = head == extendedNote;
        if (!extended)
            RefuseUnfit(partition, line, head, volumes.FirstPath());
        RunRecord::Enter("check");
        if (record)
            volumes.CheckRecord(*record);
        else
            volumes.CheckInFull(head);
        if (extended) {
            Say(partition.name + ": the image is that of an extended partition, nothing is written");
            return;
        }
        volumes.CheckMap(*ImageHeader::Parse(head), partition.bytes);
        WriteImage(disk, partition, volumes, record, table);
        if (!record && !table.seal.empty()) {
            Warn(volumes.FirstPath()
                + ": the image lacks its record: it may be of an earlier run or of another partition");
        }
        Report(partition, record);
    });
}
