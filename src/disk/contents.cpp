// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "contents.h"

#include "descriptor.h"
#include "failure.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

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
    contents.isAmbivalent = found == -2;
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
