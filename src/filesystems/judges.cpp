// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "judges.h"

#include "confinement.h"
#include "descriptor.h"
#include "littleendian.h"
#include "process.h"

#include <fcntl.h>
#include <sys/wait.h>

namespace {
/** Little-endian numbers at an offset of the device; 0 where it can't be read. */
class Numbers
{
public:
    explicit Numbers(const Device& device)
        : node(Descriptor::Open(device.path, O_RDONLY))
    {
    }

    [[nodiscard]] uint64_t At(uint64_t offset, unsigned size) const
    {
        std::string bytes(size, '\0');
        const bool whole = ReadAt(node.Get(), bytes.data(), size, offset) == static_cast<ssize_t>(size);
        return whole ? LittleEndian(bytes, 0, size) : 0;
    }

private:
    Descriptor node;
};

constexpr char unclean[] = "unclean";
constexpr char errors[] = "errors are flagged";
constexpr char severalDevices[] = "more than one device";
} // namespace

std::string JudgeExt(const Device& device)
{
    const Numbers superblock(device);
    constexpr unsigned base = 1024;
    if ((superblock.At(base + 96, 4) & 0x4) != 0)
        return unclean;
    if ((superblock.At(base + 58, 2) & 0x2) != 0)
        return errors;
    if ((superblock.At(base + 58, 2) & 0x1) == 0)
        return unclean;
    const bool hasJournal = (superblock.At(base + 92, 4) & 0x4) != 0;
    if (hasJournal && superblock.At(base + 224, 4) == 0)
        return severalDevices; // the journal is on another one
    return {};
}

/** No library tells the state of the log; "log tail: 2 head: 2 state: <CLEAN>" is how xfsprogs puts it, which opens the
 * device for writing. */
std::string JudgeXfs(const Device& device)
{
    const Numbers superblock(device);
    if (superblock.At(48, 8) == 0 || superblock.At(16, 8) != 0)
        return severalDevices; // its log is on another one, or it has a realtime area there
    std::string text;
    const StageEnd end = RunProgram({"xfs_logprint", "-t", device.path}, &text,
        ConfinedParser(Confinement::Access::Write, device.path, device.bytes));
    if (text.find("<CLEAN>") != std::string::npos)
        return {};
    if (text.find("<DIRTY>") != std::string::npos)
        return unclean;
    return "the state of its log cannot be told: " + end.LastWords();
}

std::string JudgeBtrfs(const Device& device)
{
    const Numbers superblock(device);
    constexpr unsigned base = 65536;
    if (superblock.At(base + 136, 8) != 1)
        return severalDevices;
    return superblock.At(base + 96, 8) != 0 ? unclean : "";
}

/** The younger of the two checkpoints counts; what was forced to the disk since then, file by file, doesn't show in it.
 */
std::string JudgeF2fs(const Device& device)
{
    const Numbers superblock(device);
    constexpr unsigned base = 1024;
    const uint64_t blockBits = superblock.At(base + 16, 4);
    const uint64_t segmentBits = superblock.At(base + 20, 4);
    if (blockBits > 16 || segmentBits > 20)
        return "its superblock is damaged";
    const uint64_t blockBytes = 1ULL << blockBits;
    const uint64_t segmentBytes = blockBytes << segmentBits;
    const uint64_t first = superblock.At(base + 76, 4) * blockBytes;
    if (superblock.At(base + 36, 8) > device.bytes / blockBytes)
        return severalDevices;
    const uint64_t second = first + segmentBytes;
    const uint64_t place = superblock.At(second, 8) > superblock.At(first, 8) ? second : first;
    const uint64_t flags = superblock.At(place + 132, 4);
    if ((flags & 0x18) != 0)
        return errors;
    return (flags & 0x1) == 0 ? unclean : "what came after its last checkpoint cannot be told";
}

/** ntfs-3g judges log, hibernation and dirty flag as it does before mounting; its exit status tells. */
std::string JudgeNtfs(const Device& device)
{
    if (!HasCommand("ntfs-3g.probe"))
        return "ntfs-3g.probe is not installed, which tells whether it is clean";
    const StageEnd end = RunProgram({"ntfs-3g.probe", "--readwrite", device.path}, nullptr,
        ConfinedParser(Confinement::Access::Write, device.path, device.bytes));
    switch (WIFEXITED(end.status) ? WEXITSTATUS(end.status) : -1) {
    case 0:
    case 16: // mounted read-only by the kernel: as clean as it was
        return {};
    case 14:
        return "unclean (hibernated)";
    case 15:
        return unclean;
    default:
        return "errors were found: " + end.LastWords();
    }
}

/** Linux flags a mounted FAT in the boot sector, behind the drive number, whose place depends on the FAT's width. */
std::string JudgeFat(const Device& device)
{
    const Numbers sector(device);
    const bool wide = sector.At(22, 2) == 0;
    const uint64_t flags = sector.At(wide ? 65 : 37, 1);
    if ((flags & 0x1) != 0)
        return unclean;
    return (flags & 0x2) != 0 ? errors : "";
}

std::string JudgeExfat(const Device& device)
{
    const uint64_t flags = Numbers(device).At(106, 2);
    if ((flags & 0x2) != 0)
        return unclean;
    return (flags & 0x4) != 0 ? errors : "";
}

/** Big-endian attributes at 4 in the volume header: unmounted is bit 8, inconsistent bit 11. */
std::string JudgeHfsPlus(const Device& device)
{
    const Numbers header(device);
    const uint64_t attributes = header.At(1024 + 6, 1) << 8;
    return (attributes & 0x900) == 0x100 ? "" : unclean;
}
