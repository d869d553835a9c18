// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

// norvoPartimageClone DIR PART BASE: saves the partition /dev/PART as the image DIR/BASE.000, compressed with bzip2,
// with its record DIR/BASE.sum. One volume is written: UDF has room for files of any size. The image of an earlier run
// stays until the new one is proved.

#include "authentication.h"
#include "command.h"
#include "contents.h"
#include "failure.h"
#include "freshview.h"
#include "imagewriter.h"
#include "kernelview.h"
#include "lock.h"
#include "medium.h"
#include "process.h"
#include "runrecord.h"
#include "use.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <optional>

#include <sys/statvfs.h>

namespace {
/** The record of what is to be saved, as far as it is known before: kind and place of the partition. */
ImageRecord BeginRecord(const Device& partition, const Device& disk, const ImageFiles& files)
{
    ImageRecord record;
    const auto kernel = FindKernelPartition(partition.number);
    record.partition = partition.name;
    record.partitionBytes = partition.bytes;
    record.start = kernel ? kernel->start * 512 / disk.sectorBytes : 0;
    record.size = kernel ? kernel->size * 512 / disk.sectorBytes : disk.bytes / disk.sectorBytes;
    record.saved = TimeStamp();
    record.state = "clean";
    const std::string path = files.Table(disk.name);
    if (!Medium::Exists(path))
        return record;
    const TableFile table = TableFile::Read(path);
    const TableLine* line = table.Find(kernel ? kernel->number : 0);
    if (line == nullptr || (kernel ? !IsSamePlace(*line, *kernel, disk) : line->size != record.size)) {
        throw Failure(ExitStatus::Refused,
            partition.path + " is not where " + path + " has it: the table of this run could not be saved");
    }
    record.start = line->start;
    record.size = line->size;
    record.table = table.seal;
    return record;
}

bool IsExtended(const Contents& contents)
{
    return contents.entryType == "0x5" || contents.entryType == "0xf" || contents.entryType == "0x85";
}

/** Of a Windows dynamic disk: there may be several volumes in it, with a file system each. */
bool IsDynamic(const Contents& contents)
{
    return contents.entryType == "0x42" || contents.entryType == "af9b60a0-1431-4f62-bc68-3311714a69ad";
}

SavingPlan PlanFor(const Device& partition, const Contents& contents)
{
    SavingPlan plan = PlanSaving(partition, IsDynamic(contents) ? "unknown" : contents.type);
    if (!plan.variant.empty() && HoldsPartitions(partition)) {
        plan.variant.clear();
        plan.state = "it holds partitions of its own, all blocks";
    }
    return plan;
}

void WriteContents(const Device& partition, const Contents& contents, StoreFile& file, ImageRecord& record)
{
    record.content = contents.type;
    if (IsExtended(contents)) {
        record.content = "extended";
        WriteExtendedNote(file);
    } else {
        WriteImage(partition, PlanFor(partition, contents), file, record);
    }
}

/** The volumes that are there from the first of these on, whoever made them. */
std::vector<std::string> Volumes(const ImageFiles& files, unsigned first)
{
    std::vector<std::string> paths;
    for (unsigned number = first; number < 1000; ++number) {
        if (Medium::IsFile(files.Volume(number)))
            paths.push_back(files.Volume(number));
    }
    return paths;
}

/** The bytes of the image that stands there. */
uint64_t OldImageBytes(const ImageFiles& files)
{
    uint64_t bytes = 0;
    for (const std::string& path : Volumes(files, 0))
        bytes += Medium::FileBytes(path);
    return bytes;
}

/** Image and record to the medium, and in place of older ones. */
void SaveImage(const Device& partition, const Contents& contents, const ImageFiles& files, ImageRecord& record)
{
    RunRecord::Enter("write");
    StoreFile image(files.NewImage(), OldImageBytes(files) > 0);
    WriteContents(partition, contents, image, record);
    RunRecord::Enter("prove");
    record.sha256 = image.Prove();
    record.bytes = image.Size();
    std::optional<StoreFile> recordFile;
    try {
        recordFile.emplace(files.NewRecord());
        const auto key = Authentication::Read();
        const std::string text = record.Text(key ? &*key : nullptr, files.Record());
        recordFile->Write(text.data(), text.size());
        recordFile->Prove();
    } catch (NoRoom& noRoom) {
        noRoom.needed = image.Size();
        throw;
    }
    // An image without a record is tested in full; beside the older record, should it come to that, it is refused.
    Medium::Unlink(files.Record());
    image.PutInPlace(files.Volume(0));
    recordFile->PutInPlace(files.Record());
    NeedOnMedium({files.Volume(0), files.Record()});
    for (const std::string& path : Volumes(files, 1))
        Medium::Unlink(path);
}

void RemoveOldImage(const ImageFiles& files)
{
    for (const std::string& path : Volumes(files, 0))
        Medium::Unlink(path);
    Medium::Unlink(files.Record());
}

/** Room for files in this folder. */
uint64_t LeftBytes(const std::string& folder)
{
    struct statvfs space = {};
    if (fstatvfs(Medium::OpenFolder(folder).Get(), &space) != 0)
        throw SystemFailure(ExitStatus::Failed, folder + ": cannot be read", errno);
    return uint64_t{space.f_bavail} * space.f_frsize;
}

/** Again without the image of an earlier run, but only where that makes the room: a good image is not given up in vain.
 */
void SaveImageInItsPlace(const Device& partition, const Contents& contents, const ImageFiles& files,
    ImageRecord& record, const NoRoom& noRoom)
{
    const uint64_t old = OldImageBytes(files);
    const uint64_t left = LeftBytes(std::filesystem::path(files.Record()).parent_path());
    if (old == 0)
        throw noRoom;
    if (noRoom.needed == 0)
        throw Failure(ExitStatus::Failed, std::string(noRoom.what()) + "; the image of the earlier run stays");
    if (noRoom.needed > left + old - (left + old) / 50) {
        throw Failure(ExitStatus::Failed,
            std::string(noRoom.what()) + ", not even without the image of the earlier run, which stays");
    }
    // A file system that can't read its own list of free blocks any more has no room either.
    if (noRoom.needed < left / 2) {
        throw Failure(ExitStatus::Failed,
            std::string(noRoom.what())
                + ", though most of it is free: it is failing; the image of the earlier run stays");
    }
    Warn(files.Volume(0) + ": there is no room for the new image of " + partition.name
        + " beside that of an earlier run; the earlier one is removed");
    RemoveOldImage(files);
    SaveImage(partition, contents, files, record);
}

void Report(const ImageRecord& record)
{
    if (record.content == "extended") {
        Say(record.partition + ": extended partition, the image holds nothing");
        return;
    }
    Say(record.partition + ": " + record.content + ", " + std::to_string(record.bytes) + " bytes of image"
        + (record.state == "clean" ? "" : "; " + record.state));
    if (!record.bad.empty()) {
        Warn("/dev/" + record.partition + ": " + std::to_string(record.BadBytes())
            + " bytes cannot be read, the disk has bad sectors; zeros are saved in their place");
    }
}
} // namespace

int main(int argc, char** argv)
{
    return RunCommandMain(argc, argv, "DIR PART BASE", [](const std::vector<std::string>& arguments) {
        const std::string& folder = arguments[0];
        RunRecord::Expect(arguments[1]);
        const ImageFiles files(folder, arguments[1], arguments[2]);
        NeedCommands({"lbzip2", "partclone.imager"});
        NeedRevDisk(folder);
        NeedFolder(folder);
        Authentication::Read(); // one that is no good is said before the work
        Device partition = Device::Find(arguments[1]);
        const DiskLock lock(partition);
        const Device disk = DiskOf(partition);
        RunRecord::Begin(files.Table(disk.name), disk, partition.name, {"lbzip2", "partclone.imager"});
        Introduce(disk);
        ImageRecord record = BeginRecord(partition, disk, files);
        const Contents contents = ProbeContents(partition);
        if (!IsExtended(contents))
            RefuseUse(partition, Access::Read);
        try {
            SaveImage(partition, contents, files, record);
        } catch (const NoRoom& noRoom) {
            SaveImageInItsPlace(partition, contents, files, record, noRoom);
        }
        RunRecord::Note(record);
        Report(record);
    });
}
