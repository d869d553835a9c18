// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "mountspace.h"

#include "failure.h"

#include <cerrno>
#include <climits>
#include <cstdlib>

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>

namespace {
constexpr char place[] = "/mnt";

/** What keeps a file system from playing back its journal, which it does even when mounted for reading. */
std::string LookingOptions(const std::string& type)
{
    if (type == "ext3" || type == "ext4")
        return "noload";
    if (type == "xfs")
        return "norecovery,nouuid";
    if (type == "btrfs")
        return "rescue=nologreplay";
    return type == "f2fs" ? "norecovery" : "";
}

/** Another file system with the same identifier may be mounted on this machine. */
std::string WritingOptions(const std::string& type)
{
    return type == "xfs" ? "nouuid" : "";
}
} // namespace

void EnterMountSpace()
{
    if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        throw SystemFailure(ExitStatus::Failed, "no mount name space can be made", errno);
    if (mount("tmpfs", place, "tmpfs", MS_NOSUID | MS_NODEV, "mode=0700") != 0)
        throw SystemFailure(ExitStatus::Failed, std::string(place) + ": nothing can be mounted there", errno);
}

Mounts::~Mounts()
{
    for (auto folder = folders.rbegin(); folder != folders.rend(); ++folder) {
        if (umount2(folder->c_str(), 0) != 0)
            umount2(folder->c_str(), MNT_DETACH);
    }
}

std::string Mounts::MakeFolder(const std::string& name)
{
    std::string folder = std::string(place) + "/" + name;
    if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST)
        throw SystemFailure(ExitStatus::Failed, folder, errno);
    return folder;
}

void Mounts::Mount(
    const DiskPartition& partition, const std::string& folder, Access access, const std::string& subvolume)
{
    const std::string& type = partition.contents.type;
    std::string options = access == Access::Read ? LookingOptions(type) : WritingOptions(type);
    if (type == "btrfs" && !subvolume.empty())
        options += (options.empty() ? "" : ",") + subvolume;
    // Whoever filled it may have left device nodes and programs with root's rights in it.
    const unsigned long flags = MS_NOSUID | MS_NODEV | (access == Access::Read ? MS_RDONLY | MS_NOEXEC : 0);
    if (mount(partition.device.path.c_str(), folder.c_str(), type.c_str(), flags, options.c_str()) != 0)
        throw SystemFailure(ExitStatus::Failed, partition.device.path + ": its " + type + " cannot be mounted", errno);
    folders.push_back(folder);
}

void Mounts::Unmount()
{
    for (; !folders.empty(); folders.pop_back()) {
        if (umount2(folders.back().c_str(), 0) != 0)
            throw SystemFailure(
                ExitStatus::Failed, folders.back() + ": the restored system cannot be unmounted", errno);
    }
}

std::string Inside(const std::string& folder, const std::string& path)
{
    char real[PATH_MAX];
    if (realpath((folder + "/" + path).c_str(), real) == nullptr)
        return {};
    const std::string found = real;
    return found == folder || found.rfind(folder + "/", 0) == 0 ? found : std::string();
}
