// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "contents.h"

#include "descriptor.h"
#include "failure.h"
#include "littleendian.h"
#include "process.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>

#include <blkid/blkid.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {
struct ProbeDelete
{
    void operator()(blkid_struct_probe* probe) const
    {
        blkid_free_probe(probe);
    }
};
using Probe = std::unique_ptr<blkid_struct_probe, ProbeDelete>;

std::string Value(const Probe& probe, const char* name)
{
    const char* value = nullptr;
    size_t size = 0;
    if (blkid_probe_lookup_value(probe.get(), name, &value, &size) != 0 || value == nullptr)
        return {};
    return {value, strnlen(value, size)};
}

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

// Each tells why all blocks of such a file system have to be saved; empty where the used ones are enough.

constexpr char unclean[] = "unclean";
constexpr char errors[] = "errors are flagged";
constexpr char severalDevices[] = "more than one device";

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

/** No library tells the state of the log; "log tail: 2 head: 2 state: <CLEAN>" is how xfsprogs puts it. */
std::string JudgeXfs(const Device& device)
{
    std::string text;
    const StageEnd end = RunProgram({"xfs_logprint", "-t", device.path}, &text);
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
    const StageEnd end = RunProgram({"ntfs-3g.probe", "--readwrite", device.path});
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

struct Kind
{
    const char* variant;
    std::string (*judge)(const Device& device);
};

const std::map<std::string, Kind> kinds = {
    {"ext2", {"extfs", JudgeExt}},
    {"ext3", {"extfs", JudgeExt}},
    {"ext4", {"extfs", JudgeExt}},
    {"xfs", {"xfs", JudgeXfs}},
    {"btrfs", {"btrfs", JudgeBtrfs}},
    {"f2fs", {"f2fs", JudgeF2fs}},
    {"ntfs", {"ntfs", JudgeNtfs}},
    {"vfat", {"fat", JudgeFat}},
    {"exfat", {"exfat", JudgeExfat}},
    {"hfsplus", {"hfsplus", JudgeHfsPlus}},
};

std::string WhyAllBlocks(const Device& device, const std::string& type)
{
    const auto kind = kinds.find(type);
    if (kind == kinds.end())
        return type == "unknown" ? "unknown content" : "partclone does not know " + type;
    if (!HasCommand(std::string("partclone.") + kind->second.variant))
        return std::string("partclone.") + kind->second.variant + " is not installed";
    return kind->second.judge(device);
}

Probe OpenProbe(int node, const Device& device, int superblockFlags)
{
    Probe probe(blkid_new_probe());
    if (!probe || blkid_probe_set_device(probe.get(), node, 0, 0) != 0)
        throw Failure(ExitStatus::Failed, device.path + ": cannot be looked at");
    if (device.sectorBytes != 512)
        blkid_probe_set_sectorsize(probe.get(), device.sectorBytes);
    blkid_probe_enable_superblocks(probe.get(), 1);
    blkid_probe_set_superblocks_flags(probe.get(), superblockFlags);
    blkid_probe_enable_partitions(probe.get(), 1);
    return probe;
}
} // namespace

Contents ProbeContents(const Device& device)
{
    Contents contents;
    contents.type = "unknown";
    const Descriptor node = Descriptor::Open(device.path, O_RDONLY);
    if (!node)
        throw SystemFailure(ExitStatus::Missing, device.path + ": cannot be opened", errno);
    const Probe probe = OpenProbe(
        node.Get(), device, BLKID_SUBLKS_TYPE | BLKID_SUBLKS_UUID | BLKID_SUBLKS_LABEL | BLKID_SUBLKS_LABELRAW);
    blkid_probe_set_partitions_flags(probe.get(), BLKID_PARTS_ENTRY_DETAILS);
    // Ambivalent contents are told from a single one: they give -2.
    const int found = blkid_do_safeprobe(probe.get());
    if (found == 0 && !Value(probe, "TYPE").empty())
        contents.type = Value(probe, "TYPE");
    contents.uuid = Value(probe, "UUID");
    contents.label = Value(probe, "LABEL");
    contents.entryType = Value(probe, "PART_ENTRY_TYPE");
    contents.entryUuid = Value(probe, "PART_ENTRY_UUID");
    contents.entryName = Value(probe, "PART_ENTRY_NAME");
    // By itself: on a hybrid of a CD and a disk both are there.
    blkid_probe_enable_superblocks(probe.get(), 0);
    blkid_reset_probe(probe.get());
    if (blkid_do_fullprobe(probe.get()) == 0)
        contents.partitionTable = Value(probe, "PTTYPE");
    return contents;
}

SavingPlan PlanSaving(const Device& device, const std::string& type)
{
    SavingPlan plan;
    const std::string reason = WhyAllBlocks(device, type);
    if (reason.empty())
        plan.variant = kinds.at(type).variant;
    else
        plan.state = reason + ", all blocks";
    return plan;
}

void WipeSignatures(const Device& device)
{
    ClearSignatures(device, [](uint64_t) {
        return false;
    });
}

void WipeDiskSignatures(const Device& disk, const Device& partition, uint64_t begin)
{
    const Descriptor whole = Descriptor::Open(disk.path, O_RDONLY);
    const Descriptor node = Descriptor::Open(partition.path, O_RDWR);
    if (!whole || !node)
        throw SystemFailure(ExitStatus::Failed, partition.path + ": the old signatures cannot be cleared", errno);
    const Probe probe = OpenProbe(whole.Get(), disk, BLKID_SUBLKS_MAGIC | BLKID_SUBLKS_TYPE | BLKID_SUBLKS_BADCSUM);
    blkid_probe_enable_partitions(probe.get(), 0);
    while (blkid_do_probe(probe.get()) == 0) {
        const uint64_t offset = strtoull(Value(probe, "SBMAGIC_OFFSET").c_str(), nullptr, 10);
        const char* magic = nullptr;
        size_t size = 0;
        blkid_probe_lookup_value(probe.get(), "SBMAGIC", &magic, &size);
        const std::string zeros(size, '\0');
        if (offset >= begin && offset + zeros.size() <= begin + partition.bytes
            && !WriteAt(node.Get(), zeros.data(), zeros.size(), offset - begin))
            throw SystemFailure(ExitStatus::Failed, partition.path + ": the old signatures cannot be cleared", errno);
    }
}

void ClearSignatures(const Device& device, const std::function<bool(uint64_t)>& keep)
{
    const Descriptor node = Descriptor::Open(device.path, O_RDWR);
    if (!node)
        throw SystemFailure(ExitStatus::Failed, device.path + ": the old signatures cannot be cleared", errno);
    const Probe probe = OpenProbe(node.Get(), device, BLKID_SUBLKS_MAGIC | BLKID_SUBLKS_TYPE | BLKID_SUBLKS_BADCSUM);
    blkid_probe_set_partitions_flags(probe.get(), BLKID_PARTS_MAGIC | BLKID_PARTS_FORCE_GPT);
    while (blkid_do_probe(probe.get()) == 0) {
        std::string offset = Value(probe, "SBMAGIC_OFFSET");
        if (offset.empty())
            offset = Value(probe, "PTMAGIC_OFFSET");
        if (offset.empty() || keep(strtoull(offset.c_str(), nullptr, 10)))
            continue;
        if (blkid_do_wipe(probe.get(), 0) != 0)
            throw Failure(ExitStatus::Failed, device.path + ": the old signature at " + offset + " cannot be cleared");
    }
    if (fsync(node.Get()) != 0)
        throw SystemFailure(ExitStatus::Failed, device.path + ": the old signatures cannot be cleared", errno);
}
