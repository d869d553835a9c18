// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "rawareas.h"

#include "descriptor.h"
#include "failure.h"
#include "littleendian.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>

namespace {
constexpr uint64_t mostBootTrack = 32U << 20; // longer gaps hold nothing that a boot loader would use
constexpr uint64_t piece = 1U << 20;
constexpr uint64_t databaseBytes = 1U << 20; // of a Windows dynamic disk, at the end of the disk

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

/** What a partition covers of it is in the image of that one. */
void SaveDynamicDatabase(const RawReader& reader, TableFile& file)
{
    const bool isDynamic = std::any_of(file.lines.begin(), file.lines.end(), [](const TableLine& line) {
        return line.size > 0 && line.type == 0x42;
    });
    const uint64_t begin
        = std::max(file.EndOfPartitions() * file.sectorBytes, file.diskBytes - std::min(file.diskBytes, databaseBytes));
    if (isDynamic && begin < file.diskBytes)
        reader.Save(file, begin, file.diskBytes - begin);
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
} // namespace

void SaveRawAreas(const Device& disk, TableFile& file)
{
    const RawReader reader(disk);
    if (file.IsWholeDisk()) {
        reader.Save(file, 0, 512);
        return;
    }
    SaveBootTrack(reader, file);
    if (file.IsGpt()) {
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
        SaveDynamicDatabase(reader, file);
    }
}
