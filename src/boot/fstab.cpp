// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "fstab.h"

#include "descriptor.h"
#include "failure.h"
#include "tablefile.h"

#include <QRegularExpression>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include <libmount.h>
#include <strings.h>

namespace {
constexpr size_t mostTable = 1U << 20; // far more than any has

struct TableDelete
{
    void operator()(libmnt_table* table) const
    {
        mnt_unref_table(table);
    }
};

struct IteratorDelete
{
    void operator()(libmnt_iter* iterator) const
    {
        mnt_free_iter(iterator);
    }
};

/** A name in /dev/disk: udev writes what doesn't fit a file name as \x20. */
std::string DecodeLink(const std::string& name)
{
    std::string text;
    for (size_t i = 0; i < name.size(); ++i) {
        if (name.compare(i, 2, "\\x") == 0 && i + 3 < name.size()) {
            text += static_cast<char>(std::strtoul(name.substr(i + 2, 2).c_str(), nullptr, 16));
            i += 3;
        } else {
            text += name[i];
        }
    }
    return text;
}

/** Sets tag and value where the path is a link that stands for them. */
void ParseLink(const std::string& path, FstabEntry& entry)
{
    static const std::pair<const char*, const char*> folders[] = {
        {"/dev/disk/by-uuid/", "UUID"},
        {"/dev/disk/by-label/", "LABEL"},
        {"/dev/disk/by-partuuid/", "PARTUUID"},
        {"/dev/disk/by-partlabel/", "PARTLABEL"},
    };
    for (const auto& [folder, tag] : folders) {
        if (path.rfind(folder, 0) == 0) {
            entry.tag = tag;
            entry.value = DecodeLink(path.substr(std::string(folder).size()));
        }
    }
}

std::string Option(const std::string& options, const char* name)
{
    char* value = nullptr;
    size_t size = 0;
    if (mnt_optstr_get_option(options.c_str(), name, &value, &size) != 0 || size == 0)
        return {};
    return std::string(name) + "=" + std::string(value, size);
}

bool HasOption(const std::string& options, const char* name)
{
    return mnt_optstr_get_option(options.c_str(), name, nullptr, nullptr) == 0;
}

FstabEntry MakeEntry(libmnt_fs* line)
{
    const auto text = [](const char* value) {
        return std::string(value == nullptr ? "" : value);
    };
    FstabEntry entry;
    const char* tag = nullptr;
    const char* value = nullptr;
    entry.source = text(mnt_fs_get_source(line));
    if (mnt_fs_get_tag(line, &tag, &value) == 0) {
        entry.tag = text(tag);
        entry.value = text(value);
    } else {
        ParseLink(entry.source, entry);
    }
    entry.point = text(mnt_fs_get_target(line));
    entry.swap = mnt_fs_is_swaparea(line) == 1;
    const std::string options = text(mnt_fs_get_options(line));
    entry.subvolume = Option(options, "subvol");
    if (entry.subvolume.empty())
        entry.subvolume = Option(options, "subvolid");
    entry.optional = HasOption(options, "nofail") || HasOption(options, "noauto");
    return entry;
}

/** A partition that is named by its number on a disk, as /dev/sda1. */
struct PlaceName
{
    std::string disk;
    unsigned number = 0; ///< 0: it is not named like that
};

PlaceName ParsePlace(const std::string& source)
{
    static const QRegularExpression pattern(QRegularExpression::anchoredPattern(
        QStringLiteral("(/dev/(?:sd|hd|vd|xvd)[a-z]+|/dev/(?:nvme[0-9]+n|mmcblk)[0-9]+p"
                       "|/dev/disk/by-(?:id|path)/.*-part)([0-9]{1,3})")));
    const QRegularExpressionMatch match = pattern.match(QString::fromLatin1(source.data(), source.size())); // any bytes
    if (!match.hasMatch())
        return {};
    return {match.captured(1).toLatin1().toStdString(), match.captured(2).toUInt()};
}

bool HasTag(const DiskPartition& partition, const std::string& tag, const std::string& value)
{
    const auto same = [&value](const std::string& text) {
        return strcasecmp(text.c_str(), value.c_str()) == 0;
    };
    const Contents& contents = partition.contents;
    if (value.empty())
        return false;
    if (tag == "UUID")
        return same(contents.uuid);
    if (tag == "PARTUUID")
        return same(contents.entryUuid);
    if (tag == "LABEL")
        return contents.label == value;
    return tag == "PARTLABEL" && contents.entryName == value;
}
} // namespace

bool DiskPartition::IsEfiSystem() const
{
    return (contents.entryType == "0xef" || contents.entryType == "c12a7328-f81f-11d2-ba4b-00a0c93ec93b")
        && contents.type == "vfat";
}

bool DiskPartition::IsBiosBoot() const
{
    return contents.entryType == "21686148-6449-6e6f-744e-656564454649";
}

std::vector<DiskPartition> FindPartitions(const Device& disk)
{
    std::vector<DiskPartition> partitions;
    for (const KernelPartition& kernel : KernelPartitions(disk.number)) {
        DiskPartition partition;
        partition.number = kernel.number;
        partition.device = Device::Find(PartitionName(disk.name, kernel.number));
        if (partition.device.number != kernel.device) {
            throw Failure(ExitStatus::Refused,
                partition.device.path + " leads to " + KernelName(partition.device.number) + " and not to partition "
                    + std::to_string(kernel.number) + " of " + disk.path + "; correct the link");
        }
        partition.contents = ProbeContents(partition.device);
        partitions.push_back(partition);
    }
    return partitions;
}

Fstab Fstab::Read(const std::string& path)
{
    Fstab fstab;
    std::string text;
    try {
        text = ReadFile(path, mostTable);
    } catch (const Failure&) {
        return fstab;
    }
    const std::unique_ptr<libmnt_table, TableDelete> table(mnt_new_table());
    const std::unique_ptr<FILE, int (*)(FILE*)> stream(fmemopen(text.data(), text.size(), "r"), fclose);
    if (table && stream)
        mnt_table_parse_stream(table.get(), stream.get(), path.c_str());
    const std::unique_ptr<libmnt_iter, IteratorDelete> iterator(mnt_new_iter(MNT_ITER_FORWARD));
    libmnt_fs* line = nullptr;
    while (table && iterator && mnt_table_next_fs(table.get(), iterator.get(), &line) == 0)
        fstab.entries.push_back(MakeEntry(line));
    for (const FstabEntry& entry : fstab.entries) {
        const PlaceName root = entry.point == "/" ? ParsePlace(entry.source) : PlaceName();
        if (root.number > 0)
            fstab.rootDisks.insert(root.disk);
    }
    return fstab;
}

const DiskPartition* Fstab::Find(const FstabEntry& entry, const std::vector<DiskPartition>& partitions) const
{
    const PlaceName place = ParsePlace(entry.source);
    if (place.number > 0 && (rootDisks.size() > 1 || (!rootDisks.empty() && *rootDisks.begin() != place.disk)))
        return nullptr;
    const auto found = std::find_if(partitions.begin(), partitions.end(), [&](const DiskPartition& partition) {
        return place.number > 0 ? partition.number == place.number : HasTag(partition, entry.tag, entry.value);
    });
    return found == partitions.end() ? nullptr : &*found;
}

std::string Fstab::RootSubvolume() const
{
    for (const FstabEntry& entry : entries) {
        if (entry.point != "/" || entry.subvolume.rfind("subvol=", 0) != 0)
            continue;
        const size_t name = entry.subvolume.find_first_not_of('/', 7);
        return name == std::string::npos ? "" : "/" + entry.subvolume.substr(name);
    }
    return {};
}
