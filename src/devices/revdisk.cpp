// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "revdisk.h"

#include "contents.h"
#include "descriptor.h"
#include "failure.h"
#include "identity.h"
#include "links.h"
#include "process.h"
#include "systemuse.h"
#include "use.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace {
constexpr char wanted[] = "udf";
constexpr size_t mostPartitions = 64; // looked at
constexpr size_t mostFinds = 8;       // told
constexpr size_t longestLabel = 32;

/** 'ext4 "DATA"': a label is another's text, of any length. */
std::string KindText(const std::string& type, const std::string& label)
{
    const std::string text = Printable(label);
    if (text.empty())
        return type;
    return type + " \"" + (text.size() <= longestLabel ? text : Printable(label.substr(0, longestLabel)) + "...")
        + "\"";
}

RevDisk::Find FindOf(const FoundPartition& partition)
{
    const Remark what = partition.type.empty() ? Remark("contents that are not known here")
                                               : Remark(KindText(partition.type, partition.label));
    return {Remark("partition %1: %2", {std::to_string(partition.number), what}), partition.size};
}

std::string FingerprintOf(const Device& device)
{
    std::string text = std::to_string(device.number) + "|" + std::to_string(device.bytes);
    if (device.number != 0) {
        const Identity who = Identity::Of(device.number);
        text += "|" + who.model + "|" + who.serial + "|" + who.wwn + "|" + who.place;
    }
    return text;
}

void AddPartitions(RevDisk& disk, const std::string& table)
{
    const std::vector<FoundPartition> partitions = ProbePartitions(disk.device, mostPartitions);
    size_t untold = 0;
    for (const FoundPartition& partition : partitions) {
        disk.fingerprint += "|" + std::to_string(partition.start) + " " + partition.type + " " + partition.label;
        if (partition.start == 0) // that of a UDF file system on the whole disk
            continue;
        if (disk.finds.size() < mostFinds)
            disk.finds.push_back(FindOf(partition));
        else
            ++untold;
    }
    if (untold > 0)
        disk.finds.push_back({Remark("and %1 more partitions", {std::to_string(untold)})});
    if (disk.finds.empty() && disk.state == RevDisk::State::Unformatted)
        disk.finds.push_back({Remark("a partition table (%1) without partitions", {table})});
}
} // namespace

RevDisk RevDisk::LookAt(const Device& device)
{
    RevDisk disk;
    disk.device = device;
    const Contents contents = ProbeContents(device);
    disk.fingerprint = FingerprintOf(device) + "|" + contents.type + "|" + contents.uuid + "|" + contents.label;
    if (contents.isAmbivalent) {
        disk.finds.push_back({Remark("remains of several file systems")});
    } else if (contents.type != "unknown") {
        disk.finds.push_back({KindText(contents.type, contents.label), device.bytes});
        disk.state = contents.type == wanted ? State::Formatted : State::Foreign;
    }
    if (!contents.partitionTable.empty())
        AddPartitions(disk, contents.partitionTable);
    if (disk.state == State::Unformatted && !disk.finds.empty())
        disk.state = State::Foreign;
    disk.label = contents.label;
    return disk;
}

RevFormat::~RevFormat()
{
    lock.Release();
    if (wasWritten)
        HaveUdevLook(device.number);
}

RevFormat::RevFormat(const RevDisk& seen, const std::string& command)
    : device(seen.device)
    , lock(device)
{
    NeedCommands({command});
    RefuseSystemDisk(device);
    RefuseUse(device, Access::Write);
    if (device.number != seen.device.number || RevDisk::LookAt(device).fingerprint != seen.fingerprint)
        throw Failure(ExitStatus::Refused,
            Remark(
                "%1: there is another disk in it than the one that you were asked about; look again", {device.path}));
}

void RevFormat::ClearOld()
{
    wasWritten = true;
    WipeSignatures(device);
}

void RevFormat::Finish()
{
    FlushDevice(device);
    if (device.number != 0) {
        const Descriptor node = Descriptor::Open(device.path, O_RDONLY);
        ioctl(node.Get(), BLKRRPART); // of an old table the kernel still has partitions
    }
    if (ProbeContents(device).type != wanted)
        throw Failure(ExitStatus::Failed,
            Remark("%1: no UDF file system is found on the disk after it was formatted; take another disk",
                {device.path}));
}

uint64_t RevFormat::FreeBytes() const
{
    const Descriptor context(fsopen(wanted, FSOPEN_CLOEXEC));
    if (context && fsconfig(context.Get(), FSCONFIG_SET_STRING, "source", device.path.c_str(), 0) == 0
        && fsconfig(context.Get(), FSCONFIG_SET_FLAG, "ro", nullptr, 0) == 0
        && fsconfig(context.Get(), FSCONFIG_CMD_CREATE, nullptr, nullptr, 0) == 0) {
        const Descriptor top(fsmount(context.Get(), FSMOUNT_CLOEXEC, MOUNT_ATTR_RDONLY));
        struct statfs space = {};
        if (top && fstatfs(top.Get(), &space) == 0)
            return static_cast<uint64_t>(space.f_bavail) * static_cast<uint64_t>(space.f_bsize);
    }
    throw Failure(ExitStatus::Failed,
        Remark("%1 is formatted, but this system cannot mount it: %2", {device.path, std::string(strerror(errno))}));
}
