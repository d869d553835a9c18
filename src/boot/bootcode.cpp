// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "bootcode.h"

#include "descriptor.h"
#include "failure.h"
#include "littleendian.h"

#include <algorithm>
#include <cctype>
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

/** `size` bytes of the disk; fewer where it ends before or can't be read. */
std::string ReadSectors(const Descriptor& node, uint64_t sector, size_t size)
{
    std::string bytes(size, '\0');
    const ssize_t count
        = sector > UINT64_MAX / sectorSize ? -1 : ReadAt(node.Get(), bytes.data(), size, sector * sectorSize);
    bytes.resize(std::max<ssize_t>(count, 0));
    return bytes;
}

/** The core on the disk, at least its first sector and at most `wanted` bytes; empty where there is none. */
std::string ReadCore(const Descriptor& node, uint64_t start, size_t wanted)
{
    std::string core = ReadSectors(node, start, sectorSize);
    if (core.size() < sectorSize)
        return {};
    const std::string first = core;
    // {u64 start, u16 sectors, u16 segment}, from the end of the sector backwards.
    for (size_t place = sectorSize - blockEntrySize; place >= lastBlockEntry && core.size() < wanted;
         place -= blockEntrySize) {
        const size_t sectors = LittleEndian(first, place + 8, 2);
        if (sectors == 0)
            break;
        const size_t size = std::min(sectors * sectorSize, wanted - core.size());
        const std::string block = ReadSectors(node, LittleEndian(first, place, 8), size);
        core += block;
        if (block.size() < size)
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

bool IsBootCodeWhole(const Device& disk, const std::string& folder)
{
    std::string bootImage;
    std::string coreImage;
    try {
        bootImage = ReadFile(folder + "/boot.img", sectorSize);
        coreImage = ReadFile(folder + "/core.img", mostCore);
    } catch (const Failure&) {
        return false; // GRUB for BIOS was not installed from there
    }
    const Descriptor node = Descriptor::Open(disk.path, O_RDONLY);
    const std::string sector = ReadSectors(node, 0, sectorSize);
    if (!SameRange(sector, bootImage, 0, jumpEnd) || !SameRange(sector, bootImage, codeBegin, codeEnd)
        || coreImage.size() <= changedInCore)
        return false;
    const std::string core = ReadCore(node, LittleEndian(sector, coreSectorPlace, 8), coreImage.size());
    return SameRange(core, coreImage, changedInCore, coreImage.size());
}

bool IsBootTrackAsSaved(const Device& disk, const TableFile& table)
{
    if (table.raw.empty() || table.raw.front().offset != 0)
        return false;
    const Descriptor node = Descriptor::Open(disk.path, O_RDONLY);
    const std::string& saved = table.raw.front().bytes;
    if (!SameRange(ReadSectors(node, 0, sectorSize), saved, 0, codeEnd)
        || saved.find_first_not_of('\0') >= codeEnd) // no boot code was there
        return false;
    const bool isGpt = saved.size() >= sectorSize && saved[firstTypePlace] == protectiveType;
    // With a GPT the core is in a partition, which may not have been restored.
    if (isGpt
        && ReadSectors(node, LittleEndian(saved, coreSectorPlace, 8), sectorSize).find_first_not_of('\0')
            == std::string::npos)
        return false;
    uint64_t track = isGpt ? 0 : table.diskBytes;
    for (const TableLine& line : table.lines)
        track = line.size > 0 ? std::min(track, line.start * table.sectorBytes) : track;
    return std::all_of(table.raw.begin(), table.raw.end(), [&](const RawArea& area) {
        const size_t begin = area.offset == 0 ? sectorSize : 0;
        const std::string& bytes = area.bytes;
        return area.offset >= track || bytes.size() <= begin
            || SameRange(ReadSectors(node, area.offset / sectorSize, bytes.size()), bytes, begin, bytes.size());
    });
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
