// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "freshview.h"

#include "device.h"
#include "failure.h"
#include "medium.h"
#include "mounts.h"
#include "process.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <optional>

#include <fcntl.h>
#include <linux/fs.h>
#include <linux/loop.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
constexpr uint64_t piece = 1U << 20;

/** Where a file's file system is, as the system has mounted it. */
struct Place
{
    std::string device;
    std::string type;
    std::string root;  ///< what of it is mounted
    std::string point; ///< where
};

/** Nothing where it can't be mounted once more: a journal would have to be played back first. */
std::optional<Place> FindPlace(const std::string& path)
{
    const MountTable table(mnt_new_table_from_file("/proc/self/mountinfo"));
    libmnt_fs* const fs = table ? mnt_table_find_mountpoint(table.get(), path.c_str(), MNT_ITER_BACKWARD) : nullptr;
    if (fs == nullptr || mnt_fs_get_source(fs) == nullptr || mnt_fs_get_root(fs) == nullptr)
        return {};
    Place place = {mnt_fs_get_source(fs), mnt_fs_get_fstype(fs), mnt_fs_get_root(fs), mnt_fs_get_target(fs)};
    const bool hasNoJournal = place.type == "udf" || place.type == "vfat" || place.type == "exfat";
    if (!hasNoJournal || BlockNumber(place.device) != mnt_fs_get_devno(fs))
        return {};
    return place;
}

/** A free loop device that reads the other device directly and goes with its last user; empty where there is none. */
Descriptor OpenLoop(const std::string& device, std::string& path)
{
    const Descriptor control = Descriptor::Open("/dev/loop-control", O_RDWR);
    const Descriptor backing = Descriptor::Open(device, O_RDONLY);
    int sectorBytes = 0;
    if (!control || !backing || ioctl(backing.Get(), BLKSSZGET, &sectorBytes) != 0)
        return {};
    for (int tries = 0; tries < 10; ++tries) {
        path = "/dev/loop" + std::to_string(ioctl(control.Get(), LOOP_CTL_GET_FREE));
        Descriptor loop = Descriptor::Open(path, O_RDONLY);
        loop_config config = {};
        config.fd = backing.Get();
        config.block_size = sectorBytes;
        config.info.lo_flags = LO_FLAGS_READ_ONLY | LO_FLAGS_AUTOCLEAR | LO_FLAGS_DIRECT_IO;
        if (ioctl(loop.Get(), LOOP_CONFIGURE, &config) == 0) {
            const bool known = ioctl(loop.Get(), LOOP_GET_STATUS64, &config.info) == 0;
            return known && (config.info.lo_flags & LO_FLAGS_DIRECT_IO) != 0 ? std::move(loop) : Descriptor();
        }
        if (errno != EBUSY) // somebody else was faster
            return {};
    }
    return {};
}

/** The top of the file system, mounted nowhere. */
Descriptor Mount(const std::string& device, const std::string& type)
{
    const Descriptor context(fsopen(type.c_str(), FSOPEN_CLOEXEC));
    if (!context || fsconfig(context.Get(), FSCONFIG_SET_STRING, "source", device.c_str(), 0) != 0
        || fsconfig(context.Get(), FSCONFIG_SET_FLAG, "ro", nullptr, 0) != 0
        || fsconfig(context.Get(), FSCONFIG_CMD_CREATE, nullptr, nullptr, 0) != 0)
        return {};
    return Descriptor(fsmount(context.Get(), FSMOUNT_CLOEXEC,
        MOUNT_ATTR_RDONLY | MOUNT_ATTR_NOSUID | MOUNT_ATTR_NODEV | MOUNT_ATTR_NOEXEC | MOUNT_ATTR_NOSYMFOLLOW));
}

/** At most 1 MiB. */
std::string ReadPart(const Descriptor& file, uint64_t offset, uint64_t size)
{
    std::string bytes(std::min(size, piece), '\0');
    const ssize_t count = ReadAt(file.Get(), bytes.data(), bytes.size(), offset);
    bytes.resize(std::max<ssize_t>(count, 0));
    return bytes;
}

bool AreEqual(const Descriptor& one, const Descriptor& other)
{
    struct stat first = {};
    struct stat second = {};
    if (fstat(one.Get(), &first) != 0 || fstat(other.Get(), &second) != 0 || first.st_size != second.st_size)
        return false;
    const uint64_t size = first.st_size;
    const uint64_t end = size > piece ? size - piece : 0;
    return ReadPart(one, 0, size) == ReadPart(other, 0, size) && ReadPart(one, end, size) == ReadPart(other, end, size);
}

/** In a process of its own: a drive that doesn't answer can't be waited for otherwise. */
void Compare(const std::vector<std::string>& paths, const Place& place)
{
    std::string name;
    const Descriptor loop = OpenLoop(place.device, name);
    if (!loop)
        return;
    const Descriptor top = Mount(name, place.type);
    if (!top && errno == ENOSYS)
        return;
    if (!top)
        throw SystemFailure(ExitStatus::Failed, paths.front() + ": what is on the medium cannot be read afresh", errno);
    for (const std::string& path : paths) {
        const std::string below = "." + place.root + "/" + path.substr(place.point == "/" ? 0 : place.point.size());
        const Descriptor afresh(openat(top.Get(), below.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
        if (!afresh || !AreEqual(Medium::OpenFile(path, O_RDONLY), afresh))
            throw Failure(ExitStatus::Failed, path + ": the medium has not kept it; the medium is bad");
    }
}
} // namespace

void NeedOnMedium(const std::vector<std::string>& paths)
{
    std::vector<std::string> real;
    for (const std::string& path : paths) {
        const std::filesystem::path whole = std::filesystem::absolute(path);
        const Descriptor folder = Medium::OpenFolder(whole.parent_path());
        const std::string link = "/proc/self/fd/" + std::to_string(folder.Get());
        real.push_back(std::filesystem::read_symlink(link) / whole.filename());
    }
    const auto place = FindPlace(real.front());
    if (!place)
        return;
    const StageEnd end = RunFunction("medium", [&real, &place] {
        Compare(real, *place);
        return 0;
    });
    if (!end.Succeeded())
        throw Failure(ExitStatus::Failed, end.LastWords());
}
