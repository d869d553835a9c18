// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "bootcode.h"

#include "descriptor.h"
#include "disktable.h"
#include "failure.h"
#include "littleendian.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <filesystem>

#include <fcntl.h>

namespace {
constexpr size_t sectorSize = 512; // GRUB counts in these
constexpr size_t mostCore = 64U << 20;
constexpr size_t smallestLoader = 8192;

// In the boot sector. Behind the jump stands the BIOS parameter block, then what GRUB sets, to 0x68; the disk's
// identifier and its partition table begin at 0x1b8.
constexpr size_t jumpEnd = 3;
constexpr size_t coreSectorPlace = 0x5c;
constexpr size_t codeBegin = 0x68;
constexpr size_t codeEnd = 0x1b8;
constexpr size_t firstTypePlace = 0x1c2;
constexpr char protectiveType = '\xee'; // the table is a GPT

// Within the core's first two sectors GRUB writes the list of blocks and the boot device.
constexpr size_t changedInCore = 2 * sectorSize;
constexpr size_t blockEntrySize = 12;
constexpr size_t lastBlockEntry = 12; // no list reaches into the first code of the sector

/** What stands on the disk, or would with the boot track of an image set written onto it. */
class Track
{
public:
    explicit Track(const Device& disk, const TableFile* saved = nullptr)
        : node(Descriptor::Open(disk.path, O_RDONLY))
        , saved(saved)
    {
    }

    /** `size` bytes; fewer where the disk ends before or can't be read. */
    std::string Read(uint64_t sector, size_t size) const
    {
        if (sector > UINT64_MAX / sectorSize - size)
            return {};
        std::string bytes(size, '\0');
        const uint64_t begin = sector * sectorSize;
        bytes.resize(std::max<ssize_t>(ReadAt(node.Get(), bytes.data(), size, begin), 0));
        for (const RawArea& area : saved == nullptr ? std::vector<RawArea>() : saved->raw) {
            const uint64_t from = std::max(begin, area.offset);
            const uint64_t to = std::min(begin + bytes.size(), area.offset + area.bytes.size());
            if (from < to)
                bytes.replace(from - begin, to - from, area.bytes, from - area.offset, to - from);
        }
        return bytes;
    }

private:
    Descriptor node;
    const TableFile* saved;
};

/** Sectors of the disk. */
struct Range
{
    uint64_t start = 0;
    uint64_t count = 0;
};

/** Where the core that a boot sector leads to stands: its first sector, then what is listed there. */
std::vector<Range> FindCore(const Track& track, const std::string& bootSector)
{
    const uint64_t start = LittleEndian(bootSector, coreSectorPlace, 8);
    std::vector<Range> ranges = {{start, 1}};
    const std::string first = track.Read(start, sectorSize);
    if (first.size() < sectorSize)
        return {};
    // {u64 start, u16 sectors, u16 segment}, from the end of the sector backwards.
    for (size_t place = sectorSize - blockEntrySize; place >= lastBlockEntry; place -= blockEntrySize) {
        const uint64_t sectors = LittleEndian(first, place + 8, 2);
        if (sectors == 0)
            break;
        ranges.push_back({LittleEndian(first, place, 8), sectors});
    }
    return ranges;
}

/** At most `wanted` bytes of the core. */
std::string ReadCore(const Track& track, const std::string& bootSector, size_t wanted)
{
    std::string core;
    for (const Range& range : FindCore(track, bootSector)) {
        const size_t size = std::min(range.count * sectorSize, wanted - core.size());
        const std::string block = track.Read(range.start, size);
        core += block;
        if (block.size() < size || core.size() >= wanted)
            break;
    }
    return core;
}

bool SameRange(const std::string& one, const std::string& other, size_t begin, size_t end)
{
    return one.size() >= end && other.size() >= end && one.compare(begin, end - begin, other, begin, end - begin) == 0;
}

std::string Lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) {
        return std::tolower(c);
    });
    return text;
}

/** The end of what is saved from the beginning of the disk on without a gap, in sectors. */
uint64_t SavedTrackEnd(const TableFile& saved)
{
    uint64_t end = 0;
    for (const RawArea& area : saved.raw)
        end = area.offset == end ? end + area.bytes.size() : end;
    return end / sectorSize;
}

/** The sector in which partitions begin, by the table on the disk and by what the kernel has made of it. */
uint64_t FirstPartition(const Device& disk, const DiskTable& table)
{
    uint64_t first = disk.bytes / sectorSize;
    for (const TableLine& line : table.lines)
        first = line.size > 0 ? std::min(first, line.start * (disk.sectorBytes / sectorSize)) : first;
    for (const KernelPartition& partition :
        disk.number == 0 ? std::vector<KernelPartition>() : KernelPartitions(disk.number))
        first = std::min(first, partition.start);
    return first;
}

/** Whether the boot code is GRUB's, and all that was saved could be read. */
bool HasSavedGrub(const TableFile& saved)
{
    return SavedTrackEnd(saved) > 0 && saved.raw.front().bytes.substr(0, codeEnd).find("GRUB") != std::string::npos
        && std::none_of(saved.warnings.begin(), saved.warnings.end(), [](const std::string& warning) {
               return warning.find("cannot be read") != std::string::npos;
           });
}

/** Writes them in this order and reads them back from the medium. */
void WritePieces(const Device& disk, const std::vector<RawArea>& pieces)
{
    {
        const Descriptor node = Descriptor::Open(disk.path, O_RDWR);
        for (const RawArea& piece : pieces) {
            if (!node || !WriteAt(node.Get(), piece.bytes.data(), piece.bytes.size(), piece.offset))
                throw SystemFailure(ExitStatus::Failed, disk.path + ": GRUB cannot be written as it was saved", errno);
        }
    }
    FlushDevice(disk);
    const Track track(disk);
    for (const RawArea& piece : pieces) {
        if (track.Read(piece.offset / sectorSize, piece.bytes.size()) != piece.bytes)
            throw Failure(
                ExitStatus::Failed, disk.path + ": GRUB was written as it was saved, but reads back differently");
    }
}

/** Firmware runs files that begin as programs of this kind do; a damaged file system leaves zeros in them. */
bool IsLoader(const std::filesystem::path& path)
{
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    if (error || size < smallestLoader)
        return false;
    const Descriptor file = Descriptor::Open(path, O_RDONLY);
    char magic[2] = {};
    return file && ReadAt(file.Get(), magic, sizeof magic, 0) == 2 && magic[0] == 'M' && magic[1] == 'Z';
}
} // namespace

bool IsBootCodeWhole(const Device& disk, const std::string& folder, const TableFile* saved)
{
    std::string bootImage;
    std::string coreImage;
    try {
        bootImage = ReadFile(folder + "/boot.img", sectorSize);
        coreImage = ReadFile(folder + "/core.img", mostCore);
    } catch (const Failure&) {
        return false; // GRUB for BIOS was not installed from there
    }
    const Track track(disk, saved);
    const std::string sector = track.Read(0, sectorSize);
    if (!SameRange(sector, bootImage, 0, jumpEnd) || !SameRange(sector, bootImage, codeBegin, codeEnd)
        || coreImage.size() <= changedInCore)
        return false;
    return SameRange(ReadCore(track, sector, coreImage.size()), coreImage, changedInCore, coreImage.size());
}

bool IsBootTrackAsSaved(const Device& disk, const TableFile& table)
{
    if (table.raw.empty() || table.raw.front().offset != 0)
        return false;
    const Track track(disk);
    const std::string& saved = table.raw.front().bytes;
    if (!SameRange(track.Read(0, sectorSize), saved, 0, codeEnd)
        || saved.find_first_not_of('\0') >= codeEnd) // no boot code was there
        return false;
    const bool isGpt = saved.size() >= sectorSize && saved[firstTypePlace] == protectiveType;
    // With a GPT the core is in a partition, which may not have been restored.
    if (isGpt
        && track.Read(LittleEndian(saved, coreSectorPlace, 8), sectorSize).find_first_not_of('\0') == std::string::npos)
        return false;
    uint64_t end = isGpt ? 0 : table.diskBytes;
    for (const TableLine& line : table.lines)
        end = line.size > 0 ? std::min(end, line.start * table.sectorBytes) : end;
    return std::all_of(table.raw.begin(), table.raw.end(), [&](const RawArea& area) {
        const size_t begin = area.offset == 0 ? sectorSize : 0;
        const std::string& bytes = area.bytes;
        return area.offset >= end || bytes.size() <= begin
            || SameRange(track.Read(area.offset / sectorSize, bytes.size()), bytes, begin, bytes.size());
    });
}

bool ReinstallSavedGrub(const Device& disk, const TableFile& saved)
{
    const DiskTable table = ReadDiskTable({disk.path, disk.bytes, disk.sectorBytes});
    if (!HasSavedGrub(saved) || saved.sectorBytes != disk.sectorBytes
        || saved.native.rfind("label: " + table.kind + "\n", 0) != 0)
        return false;
    const uint64_t track = SavedTrackEnd(saved);
    const uint64_t partitions = FirstPartition(disk, table);
    const Track wanted(disk, &saved);
    const std::string bootSector = wanted.Read(0, sectorSize);
    std::vector<Range> core = FindCore(wanted, bootSector);
    if (core.empty() || partitions == 0)
        return false;
    for (auto range = core.begin(); range != core.end();) {
        const bool inPartition = range->start >= partitions; // where it came back with that
        const uint64_t end = range->start > track ? UINT64_MAX : range->start + range->count;
        if (!inPartition && (table.kind != "dos" || range->start == 0 || end > std::min(track, partitions)))
            return false;
        range = inPartition ? core.erase(range) : range + 1;
    }
    std::vector<RawArea> pieces;
    pieces.reserve(core.size() + 1);
    uint64_t sectors = 0;
    for (const Range& range : core)
        sectors += range.count;
    if (sectors > mostCore / sectorSize)
        return false;
    for (const Range& range : core)
        pieces.push_back({range.start * sectorSize, wanted.Read(range.start, range.count * sectorSize)});
    pieces.push_back({0, bootSector.substr(0, codeEnd)}); // the last: without it nothing starts what is half-written
    WritePieces(disk, pieces);
    return true;
}

EfiLoaders FindEfiLoaders(const std::string& folder)
{
    EfiLoaders loaders;
    std::error_code error;
    std::filesystem::recursive_directory_iterator entry(folder, error);
    for (; !error && entry != std::filesystem::recursive_directory_iterator(); entry.increment(error)) {
        const std::string path = Lower(entry->path().string().substr(folder.size()));
        if (path.rfind("/efi/", 0) != 0 || entry->path().extension().empty()
            || Lower(entry->path().extension()) != ".efi" || !IsLoader(entry->path()))
            continue;
        loaders.any = true;
        loaders.removable = loaders.removable || path == "/efi/boot/bootx64.efi";
    }
    return loaders;
}
