// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "grubrepair.h"

#include "enclosure.h"
#include "failure.h"
#include "mountspace.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <sstream>

namespace {
namespace fs = std::filesystem;

constexpr char biosTarget[] = "i386-pc";
constexpr char uefiTarget[] = "x86_64-efi";

bool Exists(const std::string& path)
{
    std::error_code error;
    return fs::exists(path, error);
}

bool HasTarget(const std::string& root, const std::string& target)
{
    return Exists(root + "/usr/lib/grub/" + target + "/normal.mod")
        || Exists(root + "/usr/share/grub2/" + target + "/normal.mod");
}

/** The line that tells why, which need not be the last. */
std::string ErrorIn(const StageEnd& end)
{
    std::istringstream lines(end.said);
    std::string last;
    for (std::string line; std::getline(lines, line);) {
        if (line.find("error") != std::string::npos || line.find("Error") != std::string::npos)
            last = line;
    }
    return last.empty() ? end.LastWords() : last;
}

/** The restored system, mounted for writing. */
class Repair
{
public:
    Repair(const Device& disk, const std::vector<DiskPartition>& partitions, const InstalledSystem& system)
        : disk(disk)
        , partitions(partitions)
        , system(system)
    {
    }

    std::string Run(const BootNeeds& needs)
    {
        if (system.hasRoot)
            MountRoot();
        else
            MountBoot();
        MountEfiSystem();
        if (needs.bios) {
            InstallFor(biosTarget, {disk.path});
            installed += " for BIOS";
        }
        if (needs.uefi)
            InstallUefi();
        mounts.Unmount();
        return installed;
    }

private:
    const DiskPartition& Partition() const
    {
        return *std::find_if(partitions.begin(), partitions.end(), [this](const DiskPartition& partition) {
            return partition.number == system.partition;
        });
    }

    void MountRoot()
    {
        root = Mounts::MakeFolder("root");
        mounts.Mount(Partition(), root, Access::Write, system.subvolume);
        installed = "from the system on " + Partition().device.path;
        MountFromFstab();
        boot = root + "/boot";
    }

    void MountBoot()
    {
        boot = Mounts::MakeFolder("boot");
        mounts.Mount(Partition(), boot, Access::Write);
        installed = "for the system with its /boot on " + Partition().device.path;
    }

    /** Mounts below the root what the boot loader needs, in the order of the paths. */
    void MountFromFstab()
    {
        static const std::set<std::string> needed = {"/usr", "/boot", "/efi", "/boot/efi", "/boot/grub", "/boot/grub2"};
        std::vector<FstabEntry> wanted;
        std::copy_if(system.fstab.entries.begin(), system.fstab.entries.end(), std::back_inserter(wanted),
            [](const FstabEntry& entry) {
                return needed.count(entry.point) != 0;
            });
        std::stable_sort(wanted.begin(), wanted.end(), [](const FstabEntry& one, const FstabEntry& other) {
            return one.point < other.point;
        });
        for (const FstabEntry& entry : wanted) {
            if (const DiskPartition* partition = system.fstab.Find(entry, partitions))
                MountPoint(entry, *partition);
            else if (!entry.optional && !IsReplaceable(entry))
                throw Failure(ExitStatus::Refused,
                    disk.path + ": " + entry.source + ", the system's " + entry.point
                        + ", is not on this disk; restore it first");
        }
    }

    /** Without a /usr that can't be mounted, the machine's own GRUB does it. */
    static bool IsReplaceable(const FstabEntry& entry)
    {
        return entry.point == "/usr"
            && (entry.source.rfind("/dev/mapper/", 0) == 0 || entry.source.rfind("/dev/md", 0) == 0);
    }

    void MountPoint(const FstabEntry& entry, const DiskPartition& partition)
    {
        const std::string folder = Inside(root, entry.point);
        if (folder.empty())
            throw Failure(
                ExitStatus::Failed, partition.device.path + ": the system has no folder " + entry.point + " for it");
        mounts.Mount(partition, folder, Access::Write, entry.subvolume);
        if (partition.IsEfiSystem())
            efi = entry.point;
    }

    /** Also where the table does not name it. */
    void MountEfiSystem()
    {
        const auto partition = std::find_if(partitions.begin(), partitions.end(), [](const DiskPartition& candidate) {
            return candidate.IsEfiSystem();
        });
        if (partition == partitions.end() || !efi.empty())
            return;
        std::string folder;
        if (system.hasRoot) {
            std::error_code error;
            if (!Inside(root, "boot").empty())
                fs::create_directory(Inside(root, "boot") + "/efi", error);
            efi = "/boot/efi";
            folder = Inside(root, efi);
        } else {
            folder = efi = Mounts::MakeFolder("efi");
        }
        if (folder.empty())
            throw Failure(ExitStatus::Failed, partition->device.path + ": the restored system has no folder " + efi);
        mounts.Mount(*partition, folder, Access::Write);
    }

    /** Of an installer: the root that it is run in, or none for the machine's own. */
    Enclosure Place(const std::string& own) const
    {
        Enclosure place = {own, {}, {disk.path}};
        for (const DiskPartition& partition : partitions)
            place.nodes.push_back(partition.device.path);
        for (const std::string& folder : {root, system.hasRoot ? std::string() : boot, system.hasRoot ? "" : efi}) {
            if (own.empty() && !folder.empty())
                place.writing.push_back(folder);
        }
        return place;
    }

    /** The installer of the restored root, seen from there, where its programs run on this machine; else empty. */
    std::string OwnInstaller(const std::string& target) const
    {
        if (!system.hasRoot || !HasTarget(root, target))
            return {};
        for (const char* path : {"/usr/sbin/grub-install", "/usr/sbin/grub2-install", "/usr/bin/grub-install",
                 "/sbin/grub-install", "/sbin/grub2-install"}) {
            if (RunEnclosed(Place(root), {path, "--version"}).Succeeded())
                return path;
        }
        return {};
    }

    /** The machine's own command, or nothing where it can't install for that target. */
    std::vector<std::string> MachineCommand(const std::string& target) const
    {
        // The folder's name is built into an installer; what only writes the core that is there takes any.
        const std::string platform = boot + "/grub2/" + target;
        if (system.usesGrub2 && target == biosTarget && !HasCommand("grub2-install")
            && Exists(platform + "/core.img")) {
            for (const std::string name : {"grub-bios-setup", "/usr/lib/grub/i386-pc/grub-bios-setup"}) {
                if (name.front() == '/' ? Exists(name) : HasCommand(name))
                    return {name, "--directory=" + platform};
            }
        }
        if (!HasTarget("", target))
            return {};
        for (const char* name : {"grub-install", "grub2-install"}) {
            if (HasCommand(name)) {
                std::vector<std::string> command
                    = {name, "--target=" + target, "--no-floppy", "--recheck", "--boot-directory=" + boot};
                if (target == uefiTarget)
                    command.push_back("--efi-directory=" + root + efi);
                return command;
            }
        }
        return {};
    }

    /** One run of the installer. It has claimed success after errors: the disk is looked at afterwards in any case. */
    void InstallFor(const std::string& target, const std::vector<std::string>& options)
    {
        std::vector<std::string> command;
        const std::string own = OwnInstaller(target);
        if (!own.empty()) {
            command = {own, "--target=" + target, "--no-floppy", "--recheck"};
            if (target == uefiTarget)
                command.push_back("--efi-directory=" + efi);
        } else {
            command = MachineCommand(target);
        }
        if (command.empty()) {
            throw Failure(ExitStatus::Tool,
                disk.path + ": neither the restored system nor this machine has GRUB for " + target
                    + "; install one of them");
        }
        command.insert(command.end(), options.begin(), options.end());
        const StageEnd end = RunEnclosed(Place(own.empty() ? "" : root), command);
        if (!end.Succeeded()) {
            throw Failure(
                ExitStatus::Failed, disk.path + ": GRUB for " + target + " cannot be installed: " + ErrorIn(end));
        }
    }

    /**
     * Also at the path that firmware tries by itself, unless a loader is there: the entry in the firmware's own memory
     * belongs to the machine and not to the disk. A restored system that has a loader but no parts of GRUB to make one
     * from brings its own, signed one; it is left as it is.
     */
    void InstallUefi()
    {
        const std::string folder = root + efi;
        if (FindEfiLoaders(folder).any && OwnInstaller(uefiTarget).empty()) {
            installed += " with the UEFI loader that was restored";
            return;
        }
        InstallFor(uefiTarget, {"--no-nvram"});
        if (!FindEfiLoaders(folder).removable)
            InstallFor(uefiTarget, {"--no-nvram", "--removable"});
        installed += " for UEFI";
    }

    const Device& disk;
    const std::vector<DiskPartition>& partitions;
    const InstalledSystem& system;
    Mounts mounts;
    std::string root; ///< where its root is mounted; empty for a /boot alone
    std::string boot; ///< where its /boot is
    std::string efi;  ///< where its EFI system partition is, seen from the root
    std::string installed;
};
} // namespace

std::string RepairBootLoader(
    const Device& disk, const std::vector<DiskPartition>& partitions, const Findings& findings, const TableFile& saved)
{
    if (!findings.system) {
        std::string text = disk.path + ": no Linux system was found on this disk; restore its root partition first";
        for (const std::string& reason : findings.unreadable)
            text += "; " + reason;
        throw Failure(ExitStatus::Refused, text);
    }
    const BootNeeds needs = BootNeeds::Of(disk, partitions, findings);
    std::string installed = Repair(disk, partitions, *findings.system).Run(needs);
    for (const DiskPartition& partition : partitions)
        FlushDevice(partition.device);
    FlushDevice(disk);
    const Findings result = LookAtDisk(disk, partitions, saved);
    if (needs.bios && !result.coreWhole)
        throw Failure(
            ExitStatus::Failed, disk.path + ": GRUB was installed, but what is on the disk is not what was installed");
    if (needs.uefi && !result.loaders.any)
        throw Failure(ExitStatus::Failed,
            disk.path + ": GRUB was installed for UEFI, but no loader is on the EFI system partition");
    if (!result.hasConfig || (needs.bios && !result.biosWhole)) {
        throw Failure(ExitStatus::Failed,
            disk.path + ": GRUB is installed, but the restored system has no grub.cfg; make it there with update-grub");
    }
    return installed;
}
