// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "contents.h"

#include "descriptor.h"
#include "failure.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include <blkid/blkid.h>
#include <fcntl.h>
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

/** Of a part of the device, or of all of it for a size of 0. */
Probe OpenProbe(int node, const Device& device, int superblockFlags, uint64_t begin = 0, uint64_t size = 0)
{
    Probe probe(blkid_new_probe());
    if (!probe
        || blkid_probe_set_device(probe.get(), node, static_cast<blkid_loff_t>(begin), static_cast<blkid_loff_t>(size))
            != 0)
        throw Failure(ExitStatus::Failed, device.path + ": cannot be looked at");
    if (device.sectorBytes != 512)
        blkid_probe_set_sectorsize(probe.get(), device.sectorBytes);
    blkid_probe_enable_superblocks(probe.get(), 1);
    blkid_probe_set_superblocks_flags(probe.get(), superblockFlags);
    blkid_probe_enable_partitions(probe.get(), 1);
    return probe;
}

/** What the last step of libblkid found, beside what others did. */
void Take(const Probe& probe, Contents& contents)
{
    const std::vector<std::pair<const char*, std::string*>> fields
        = {{"UUID", &contents.uuid}, {"LABEL", &contents.label}, {"PART_ENTRY_TYPE", &contents.entryType},
            {"PART_ENTRY_UUID", &contents.entryUuid}, {"PART_ENTRY_NAME", &contents.entryName}};
    for (const auto& [name, field] : fields) {
        const std::string value = Value(probe, name);
        if (!value.empty())
            *field = value;
    }
    const std::string type = Value(probe, "TYPE");
    if (type.empty())
        return;
    contents.isAmbivalent = contents.type != "unknown";
    contents.type = type;
}

/** One kind after the other. Those that want a sector which can't be read are passed over. */
void TakeEachKind(const Probe& probe, Contents& contents)
{
    constexpr int most = 1000; // steps, of which each kind takes one
    blkid_reset_probe(probe.get());
    for (int i = 0, found = 0; i < most && found != 1; ++i) {
        found = blkid_do_probe(probe.get());
        if (found == 0)
            Take(probe, contents);
    }
}

/** libblkid's safe way gives up at the first sector that can't be read; later versions find nothing in much. */
void TakeContents(const Probe& probe, Contents& contents)
{
    constexpr int nothing = 1;
    constexpr int several = -2; // other failures are those of reading
    const int found = blkid_do_safeprobe(probe.get());
    if (found == 0 || found == several) {
        Take(probe, contents);
        contents.isAmbivalent = contents.isAmbivalent || found == several;
    } else {
        Contents kinds = contents;
        TakeEachKind(probe, kinds);
        if (found != nothing || kinds.isAmbivalent)
            contents = kinds;
    }
    if (contents.isAmbivalent)
        contents.type = "unknown";
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
    TakeContents(probe, contents);
    // By itself: on a hybrid of a CD and a disk both are there.
    blkid_probe_enable_superblocks(probe.get(), 0);
    blkid_reset_probe(probe.get());
    if (blkid_do_fullprobe(probe.get()) == 0)
        contents.partitionTable = Value(probe, "PTTYPE");
    return contents;
}

std::vector<FoundPartition> ProbePartitions(const Device& disk, size_t most)
{
    constexpr uint64_t unit = 512; // of libblkid's, whatever the disk's sectors are
    std::vector<FoundPartition> partitions;
    const Descriptor node = Descriptor::Open(disk.path, O_RDONLY);
    if (!node)
        throw SystemFailure(ExitStatus::Missing, disk.path + ": cannot be opened", errno);
    const Probe whole = OpenProbe(node.Get(), disk, BLKID_SUBLKS_TYPE);
    blkid_probe_enable_superblocks(whole.get(), 0);
    blkid_partlist const list = blkid_probe_get_partitions(whole.get());
    const int count = list == nullptr ? 0 : blkid_partlist_numof_partitions(list);
    for (int i = 0; i < count && partitions.size() < most; ++i) {
        blkid_partition const entry = blkid_partlist_get_partition(list, i);
        FoundPartition found;
        found.number = blkid_partition_get_partno(entry);
        found.start = static_cast<uint64_t>(blkid_partition_get_start(entry)) * unit;
        found.size = static_cast<uint64_t>(blkid_partition_get_size(entry)) * unit;
        if (blkid_partition_is_extended(entry) || found.size == 0)
            continue;
        const Probe probe
            = OpenProbe(node.Get(), disk, BLKID_SUBLKS_TYPE | BLKID_SUBLKS_LABEL, found.start, found.size);
        if (blkid_do_safeprobe(probe.get()) == 0) {
            found.type = Value(probe, "TYPE");
            found.label = Value(probe, "LABEL");
        }
        partitions.push_back(found);
    }
    return partitions;
}

bool HoldsPartitions(const Device& device)
{
    return !ProbePartitions(device, 1).empty() || !KernelPartitions(device.number).empty();
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
