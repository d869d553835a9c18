// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "setcheck.h"

#include "failure.h"
#include "imagereader.h"
#include "littleendian.h"
#include "medium.h"
#include "runentry.h"
#include "tablefile.h"

#include <algorithm>
#include <optional>

namespace {
constexpr char diskName[] = "hdc";
constexpr size_t sectorSize = 512;

/** Whether the partitions in the boot sector are those of the table; that of a GPT has one that covers the disk. */
bool Fits(const std::string& bootSector, const TableFile& table)
{
    const bool gpt = table.native.compare(0, 10, "label: gpt") == 0;
    bool covered = false;
    bool same = true;
    for (unsigned number = 1; number <= 4; ++number) {
        const size_t entry = 446 + 16 * (number - 1);
        const TableLine* const line = table.Find(number);
        const bool used = LittleEndian(bootSector, entry + 12, 4) != 0;
        covered = covered || (used && bootSector[entry + 4] == '\xee');
        same = same && used == (line != nullptr)
            && (!used || LittleEndian(bootSector, entry + 8, 4) == static_cast<uint32_t>(line->start));
    }
    return gpt ? covered : same;
}

/** Checks one set, and keeps what the parts have to do with each other. */
class SetChecker
{
public:
    SetChecker(
        const ImageSet& set, bool deep, const std::function<void(const std::string&)>& begin, const Authentication* key)
        : set(set)
        , deep(deep)
        , begin(begin)
        , key(key)
        , run(RunEntry::Read(RunRecordPath(PathOf(std::string(diskName) + ".sf"))))
    {
    }

    std::vector<CheckedPart> Run()
    {
        Check("partition table", [this](CheckedPart& part) {
            CheckTable(part);
        });
        Check("boot sector", [this](CheckedPart& part) {
            CheckBootSector(part);
        });
        for (const TableLine& line : table ? table->lines : std::vector<TableLine>()) {
            if (line.size == 0 || line.IsSwap())
                continue;
            Check(PartitionName(table->disk, line.number), [this, &line](CheckedPart& part) {
                CheckImage(part, line);
            });
        }
        return parts;
    }

private:
    template <class Work> void Check(const std::string& name, const Work& work)
    {
        begin(name);
        CheckedPart part;
        part.name = name;
        try {
            work(part);
        } catch (const std::exception& failure) { // also what the file system says of a name
            if (part.verdict != Verdict::Missing)
                part.verdict = Verdict::Damaged;
            part.remark = failure.what() + WhyNotSaved(name);
        }
        parts.push_back(part);
    }

    /** What the last run that was to save it says, if it could not. */
    std::string WhyNotSaved(const std::string& name) const
    {
        std::string reason;
        for (const RunEntry& entry : run) {
            const bool saves = entry.command == "norvoClonePT"
                ? name == "partition table"
                : entry.command == "norvoPartimageClone" && entry.part == name;
            if (saves)
                reason = entry.result == "done" ? "" : entry.reason.empty() ? "the saving did not end" : entry.reason;
        }
        return reason.empty() ? "" : "; " + reason;
    }

    /** A Failure, with the part missing, where a later run could not save it. */
    void NeedLatest(
        CheckedPart& part, const std::string& name, const std::string& hash, const std::string& saved = {}) const
    {
        if (RunEntry::LaterFailure(run, name, hash, saved).empty())
            return;
        part.verdict = Verdict::Missing;
        throw Failure(ExitStatus::Damaged, "what is there is good, but of an earlier run");
    }

    std::string PathOf(const std::string& ending) const
    {
        return set.folder + "/" + set.Prefix() + ending;
    }

    /** A Failure, with the part missing, where the file is not there. */
    std::string Need(CheckedPart& part, const std::string& path) const
    {
        if (!Medium::Exists(path)) {
            part.verdict = Verdict::Missing;
            throw Failure(ExitStatus::Damaged, path + " is missing");
        }
        return path;
    }

    void CheckTable(CheckedPart& part)
    {
        const std::string path = Need(part, PathOf(std::string(diskName) + ".sf"));
        table = TableFile::Read(path);
        if (key != nullptr)
            part.unproven = key->FaultOf(*table, path);
        if (table->seal.empty()) {
            part.verdict = Verdict::Unrecorded;
            part.remark = "partition lines alone, of another maker";
            return;
        }
        NeedLatest(part, table->disk, table->seal);
        if (!table->warnings.empty())
            part.remark = table->warnings.front();
    }

    void CheckBootSector(CheckedPart& part) const
    {
        const std::string path = Need(part, PathOf(std::string(diskName) + ".mbr"));
        const std::string bytes = Medium::Read(path, 2 * sectorSize);
        if (key != nullptr && table)
            part.unproven = Authentication::FaultOf(bytes, path, *table);
        if (bytes.size() != sectorSize)
            throw Failure(
                ExitStatus::Damaged, path + " has " + std::to_string(bytes.size()) + " bytes, a boot sector has 512");
        if (table && table->IsOtherBootSector(bytes))
            throw Failure(
                ExitStatus::Damaged, path + " is damaged or of another run: the partition table's own differs");
        if (!table || table->IsWholeDisk())
            return;
        if (bytes.compare(510, 2, "\x55\xaa") != 0)
            throw Failure(ExitStatus::Damaged, path + " is not a boot sector: it lacks the signature at its end");
        if (!Fits(bytes, *table))
            throw Failure(ExitStatus::Damaged, path + " has other partitions than the set's partition table");
    }

    void CheckImage(CheckedPart& part, const TableLine& line) const
    {
        const ImageFiles files(set.folder, part.name, set.Prefix() + part.name + ".bz2");
        if (line.IsExtended() && !Medium::Exists(files.Volume(0))) {
            part.remark = "extended partition, needs no image";
            return;
        }
        Need(part, files.Volume(0));
        const ImageVolumes volumes(files);
        if (Medium::Exists(files.Record()))
            CheckRecorded(part, volumes, files.Record(), line);
        else if (table->seal.empty())
            part.verdict = Verdict::Unrecorded;
        else
            Need(part, files.Record()); // its run has left one
        if (key != nullptr && part.verdict == Verdict::Unrecorded)
            part.unproven = Authentication::Lacks(files.Record());
        std::string head = CheckHead(volumes, line);
        if (deep || part.verdict == Verdict::Unrecorded)
            volumes.CheckInFull(head);
    }

    void CheckRecorded(
        CheckedPart& part, const ImageVolumes& volumes, const std::string& path, const TableLine& line) const
    {
        const ImageRecord record = ImageRecord::Read(path);
        if (key != nullptr)
            part.unproven = key->FaultOf(record, path, *table);
        const std::string mismatch = record.Mismatch(*table, line);
        if (!mismatch.empty())
            throw Failure(ExitStatus::Damaged, volumes.FirstPath() + ": " + mismatch);
        volumes.CheckRecord(record);
        if (record.IsOfEarlierRun(*table)) {
            part.verdict = Verdict::Missing;
            throw Failure(ExitStatus::Damaged,
                volumes.FirstPath() + " is of an earlier run (" + record.saved + ") than the partition table");
        }
        NeedLatest(part, part.name, record.sha256, record.saved);
        if (!record.bad.empty())
            part.remark
                = std::to_string(record.bad.size()) + " places of the disk could not be read; zeros stand there";
        else if (record.state != "clean")
            part.remark = record.state;
    }

    /** Gives it. What a restore would refuse is no good image, whatever its record says. */
    std::string CheckHead(const ImageVolumes& volumes, const TableLine& line) const
    {
        std::string head = volumes.Head();
        const auto header = ImageHeader::Parse(head);
        if (head != extendedNote && !header)
            throw Failure(ExitStatus::Damaged, volumes.FirstPath() + " is not an image of a partition");
        if ((head == extendedNote) != line.IsExtended())
            throw Failure(ExitStatus::Damaged, volumes.FirstPath() + " is not of a partition of this kind");
        const uint64_t bytes = line.size * table->sectorBytes;
        if (header && !header->Fits(bytes)) {
            throw Failure(ExitStatus::Damaged,
                volumes.FirstPath() + " cannot be written back: the partition has " + std::to_string(bytes)
                    + " bytes, the image needs " + std::to_string(header->NeededBytes()));
        }
        if (header)
            volumes.CheckMap(*header, bytes);
        return head;
    }

    const ImageSet& set;
    const bool deep;
    const std::function<void(const std::string&)>& begin;
    const Authentication* const key;
    const std::vector<RunEntry> run;
    std::optional<TableFile> table; ///< once it was read
    std::vector<CheckedPart> parts;
};
} // namespace

std::string Name(Verdict verdict)
{
    switch (verdict) {
    case Verdict::Good:
        return "good";
    case Verdict::Unrecorded:
        return "no record";
    case Verdict::Missing:
        return "missing";
    case Verdict::Damaged:
        break;
    }
    return "damaged";
}

std::vector<CheckedPart> CheckSet(const ImageSet& set, bool deep,
    const std::function<void(const std::string& part)>& begin, const Authentication* key)
{
    if (!set.fault.empty())
        return {{"folder", Verdict::Damaged, set.fault, {}}};
    return SetChecker(set, deep, begin, key).Run();
}
