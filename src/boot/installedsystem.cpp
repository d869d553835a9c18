// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "installedsystem.h"

#include "failure.h"
#include "mountspace.h"
#include "process.h"

#include <algorithm>
#include <filesystem>
#include <set>

#include <sys/stat.h>

namespace {
namespace fs = std::filesystem;

constexpr int subvolumeDepth = 3;
constexpr ino_t subvolumeInode = 256; // of the top folder of every btrfs subvolume

bool IsFile(const std::string& folder, const std::string& path)
{
    std::error_code error;
    const std::string place = Inside(folder, path);
    return !place.empty() && fs::is_regular_file(place, error);
}

/** When that file was made, in seconds; 0 where there is none. */
int64_t TimeOf(const std::string& folder, const std::string& path)
{
    struct stat status = {};
    const std::string place = Inside(folder, path);
    return !place.empty() && stat(place.c_str(), &status) == 0 ? status.st_mtime : 0;
}

/** A folder that may be the top of a system: of a file system or of a btrfs subvolume. */
struct Top
{
    std::string folder;
    std::string subvolume; ///< its path, with a leading "/"; empty for what is mounted by default
};

/** An installed GRUB. */
struct GrubFolder
{
    unsigned partition = 0;
    std::string top;  ///< folder of the Top that it was found in
    std::string path; ///< from there, as "boot/grub"
    int64_t installed = 0;
    bool hasConfig = false;
};

void AddSubvolumes(const std::string& top, const std::string& path, int depth, std::vector<Top>& found)
{
    StopRequest::Check();
    std::vector<std::string> names;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(top + path, error)) {
        if (entry.is_directory(error) && !entry.is_symlink(error))
            names.push_back(path + "/" + entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    for (const std::string& name : names) {
        struct stat status = {};
        if (stat((top + name).c_str(), &status) == 0 && status.st_ino == subvolumeInode)
            found.push_back({top + name, name});
        else if (depth == 1)
            continue;
        if (depth > 1 && !IsFile(top + name, "etc/fstab"))
            AddSubvolumes(top, name, depth - 1, found);
    }
}

/** The look at one disk. Everything stays mounted until its end. */
class Look
{
public:
    Look(const Device& disk, const std::vector<DiskPartition>& partitions, const TableFile& saved)
        : disk(disk)
        , partitions(partitions)
        , saved(saved)
    {
    }

    Findings Run()
    {
        for (const DiskPartition& partition : partitions) {
            StopRequest::Check();
            try {
                LookAt(partition);
            } catch (const Failure& failure) {
                findings.unreadable.emplace_back(failure.what());
            }
        }
        JudgeGrubs();
        ChooseSystem();
        mounts.Unmount();
        return findings;
    }

private:
    std::string MountFolder(const DiskPartition& partition, const std::string& name, const std::string& subvolume)
    {
        std::string folder = Mounts::MakeFolder(name);
        mounts.Mount(partition, folder, Access::Read, subvolume);
        return folder;
    }

    void LookAt(const DiskPartition& partition)
    {
        static const std::set<std::string> linuxTypes = {"ext2", "ext3", "ext4", "f2fs", "xfs", "btrfs"};
        const std::string name = partition.device.name;
        if (partition.IsEfiSystem()) {
            const std::string folder = MountFolder(partition, name, {});
            const EfiLoaders loaders = FindEfiLoaders(folder);
            findings.loaders.any = findings.loaders.any || loaders.any;
            findings.loaders.removable = findings.loaders.removable || loaders.removable;
            AddGrubs(partition, folder);
        } else if (linuxTypes.count(partition.contents.type) != 0) {
            const Top top = {MountFolder(partition, name, {}), {}};
            AddGrubs(partition, top.folder);
            if (!AddSystem(partition, top) && partition.contents.type == "btrfs")
                LookAtSubvolumes(partition);
        }
    }

    void LookAtSubvolumes(const DiskPartition& partition)
    {
        const std::string top = MountFolder(partition, partition.device.name + "-top", "subvolid=5");
        std::vector<Top> found;
        AddSubvolumes(top, "", subvolumeDepth, found);
        // A snapshot of the system has its table too, which names the subvolume that it was made of.
        std::stable_partition(found.begin(), found.end(), [](const Top& candidate) {
            return IsFile(candidate.folder, "etc/fstab")
                && Fstab::Read(Inside(candidate.folder, "etc/fstab")).RootSubvolume() == candidate.subvolume;
        });
        for (const Top& candidate : found) {
            AddGrubs(partition, candidate.folder);
            AddSystem(partition, candidate);
        }
    }

    void AddGrubs(const DiskPartition& partition, const std::string& top)
    {
        for (const char* path : {"boot/grub", "boot/grub2", "grub", "grub2"}) {
            const std::string folder = std::string(path) + "/";
            GrubFolder grub = {partition.number, top, path, 0, false};
            grub.hasConfig = IsFile(top, folder + "grub.cfg");
            for (const char* core : {"i386-pc/core.img", "x86_64-efi/core.efi", "x86_64-efi/grub.efi"})
                grub.installed = std::max(grub.installed, TimeOf(top, folder + core));
            findings.hasBiosGrub = findings.hasBiosGrub || TimeOf(top, folder + "i386-pc/core.img") > 0;
            if (grub.hasConfig || grub.installed > 0)
                grubs.push_back(grub);
        }
    }

    /** Whether it is the root of a system; one that keeps its table elsewhere is known by the configuration of GRUB. */
    bool AddSystem(const DiskPartition& partition, const Top& top)
    {
        if (!IsFile(top.folder, "etc/fstab") && !IsFile(top.folder, "boot/grub/grub.cfg")
            && !IsFile(top.folder, "boot/grub2/grub.cfg"))
            return false;
        InstalledSystem system;
        system.partition = partition.number;
        if (!top.subvolume.empty())
            system.subvolume = "subvol=" + top.subvolume;
        if (IsFile(top.folder, "etc/fstab"))
            system.fstab = Fstab::Read(Inside(top.folder, "etc/fstab"));
        systems.push_back({system, top.folder});
        return true;
    }

    void JudgeGrubs()
    {
        for (const GrubFolder& grub : grubs) {
            findings.hasConfig = findings.hasConfig || grub.hasConfig;
            const std::string folder = grub.path + "/i386-pc";
            if (!IsFile(grub.top, folder + "/boot.img") || !IsFile(grub.top, folder + "/core.img"))
                continue;
            const std::string platform = Inside(grub.top, folder);
            findings.savedWhole = findings.savedWhole || IsBootCodeWhole(disk, platform, &saved);
            if (!IsBootCodeWhole(disk, platform))
                continue;
            findings.coreWhole = true;
            findings.biosWhole = findings.biosWhole || grub.hasConfig;
        }
    }

    /** Whether that GRUB is in the system's own /boot, or on the partition that its table names for it. */
    bool Belongs(const GrubFolder& grub, const InstalledSystem& system, const std::string& top) const
    {
        if (grub.top == top)
            return true;
        return std::any_of(system.fstab.entries.begin(), system.fstab.entries.end(), [&](const FstabEntry& entry) {
            const DiskPartition* partition = system.fstab.Find(entry, partitions);
            return entry.point.rfind("/boot", 0) == 0 && partition != nullptr && partition->number == grub.partition;
        });
    }

    /** The GRUB that was installed last is the one that the disk started with. */
    void ChooseSystem()
    {
        std::vector<InstalledSystem> candidates;
        std::vector<bool> claimed(grubs.size());
        for (auto& [system, top] : systems) {
            for (size_t i = 0; i < grubs.size(); ++i) {
                if (!Belongs(grubs[i], system, top))
                    continue;
                claimed[i] = true;
                Take(grubs[i], system);
            }
            candidates.push_back(system);
        }
        for (size_t i = 0; i < grubs.size(); ++i) {
            InstalledSystem boot;
            boot.partition = grubs[i].partition;
            boot.hasRoot = false;
            Take(grubs[i], boot);
            if (!claimed[i] && grubs[i].hasConfig && grubs[i].path.rfind("grub", 0) == 0)
                candidates.push_back(boot);
        }
        const auto chosen = std::max_element(
            candidates.begin(), candidates.end(), [](const InstalledSystem& one, const InstalledSystem& other) {
                return one.installed < other.installed;
            });
        if (chosen != candidates.end())
            findings.system = *chosen;
    }

    static void Take(const GrubFolder& grub, InstalledSystem& system)
    {
        if (grub.installed < system.installed)
            return;
        system.installed = grub.installed;
        system.usesGrub2 = grub.path.find("grub2") != std::string::npos;
    }

    const Device& disk;
    const std::vector<DiskPartition>& partitions;
    const TableFile& saved;
    Mounts mounts;
    Findings findings;
    std::vector<GrubFolder> grubs;
    std::vector<std::pair<InstalledSystem, std::string>> systems; ///< with the folders that they are mounted on
};
} // namespace

Findings LookAtDisk(const Device& disk, const std::vector<DiskPartition>& partitions, const TableFile& saved)
{
    return Look(disk, partitions, saved).Run();
}

std::vector<std::string> HiddenPartitions(const std::vector<DiskPartition>& partitions)
{
    static const std::set<std::string> types = {"LVM2_member", "crypto_LUKS", "linux_raid_member", "zfs_member"};
    std::vector<std::string> hidden;
    for (const DiskPartition& partition : partitions) {
        if (types.count(partition.contents.type) != 0)
            hidden.push_back(partition.device.path);
    }
    return hidden;
}

BootNeeds BootNeeds::Of(const Device& disk, const std::vector<DiskPartition>& partitions, const Findings& findings)
{
    const auto any = [&partitions](bool (DiskPartition::*is)() const) {
        return std::any_of(partitions.begin(), partitions.end(), [is](const DiskPartition& p) {
            return (p.*is)();
        });
    };
    BootNeeds needs;
    needs.bios = (ProbeContents(disk).partitionTable == "dos" || any(&DiskPartition::IsBiosBoot))
        && (findings.hasBiosGrub || !findings.loaders.any);
    needs.uefi = any(&DiskPartition::IsEfiSystem);
    if (!needs.bios && !needs.uefi) {
        throw Failure(
            ExitStatus::Refused, disk.path + ": this GPT disk has neither a BIOS boot partition nor an EFI system one");
    }
    return needs;
}

bool BootNeeds::AreMet(const Findings& findings) const
{
    return findings.hasConfig && (!bios || findings.biosWhole)
        && (!uefi || (findings.loaders.any && findings.loaders.removable));
}
