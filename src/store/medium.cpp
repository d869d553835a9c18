// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "medium.h"

#include "imagestore.h"

#include <cerrno>
#include <filesystem>

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {
std::string WithoutSlash(std::string path)
{
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

std::string root = WithoutSlash(ImageStore::mountPoint);

/** What is behind the root in a path; nothing where the path is not below it. */
std::optional<std::string> BelowRoot(const std::string& path)
{
    if (path.compare(0, root.size(), root) != 0)
        return {};
    const size_t begin = path.find_first_not_of('/', root.size());
    if (begin == std::string::npos)
        return ".";
    if (begin == root.size() && root != "/")
        return {};
    return path.substr(begin);
}

/** openat2(2), for which the C library has no name; told to try again while others rename folders. */
Descriptor OpenBelow(const Descriptor& folder, const std::string& path)
{
    open_how how = {};
    how.flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS;
    for (int tries = 0;; ++tries) {
        Descriptor found(static_cast<int>(syscall(SYS_openat2, folder.Get(), path.c_str(), &how, sizeof how)));
        if (found || errno != EAGAIN || tries == 100)
            return found;
    }
}

/** A folder, and a name in it. */
struct Place
{
    explicit Place(const std::string& path)
        : folder(Medium::OpenFolder(fs::path(path).parent_path()))
        , name(fs::path(path).filename())
    {
    }

    Descriptor folder;
    std::string name;
};

bool SetAttributes(const char* point, uint64_t set, uint64_t clear)
{
    mount_attr attributes = {};
    attributes.attr_set = set;
    attributes.attr_clr = clear;
    return mount_setattr(AT_FDCWD, point, 0, &attributes, sizeof attributes) == 0;
}
} // namespace

namespace Medium {
void UseRoot(const std::string& folder)
{
    root = WithoutSlash(fs::absolute(folder));
}

Descriptor OpenFolder(const std::string& path)
{
    const std::string whole = fs::absolute(path.empty() ? "." : path);
    const auto below = BelowRoot(whole);
    Descriptor folder = Descriptor::Open(below ? root : whole, O_RDONLY | O_DIRECTORY);
    return folder && below ? OpenBelow(folder, *below) : std::move(folder);
}

Descriptor OpenFile(const std::string& path, int flags)
{
    const Place place(path);
    if (!place.folder)
        return {};
    Descriptor file(
        openat(place.folder.Get(), place.name.c_str(), flags | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0600));
    struct stat status = {};
    if (!file || (fstat(file.Get(), &status) == 0 && S_ISREG(status.st_mode)))
        return file;
    file.Close();
    errno = ENXIO;
    return {};
}

std::optional<struct stat> Look(const std::string& path)
{
    const Place place(path);
    struct stat status = {};
    if (!place.folder || fstatat(place.folder.Get(), place.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return {};
    return status;
}

bool Exists(const std::string& path)
{
    return Look(path) || (errno != ENOENT && errno != ENOTDIR);
}

bool IsFile(const std::string& path)
{
    const auto status = Look(path);
    return status && S_ISREG(status->st_mode);
}

uint64_t FileBytes(const std::string& path)
{
    const auto status = Look(path);
    return status && S_ISREG(status->st_mode) ? status->st_size : 0;
}

std::string Read(const std::string& path, size_t most)
{
    const Descriptor file = OpenFile(path, O_RDONLY);
    if (!file)
        throw Refusal(ExitStatus::Damaged, path + ": cannot be read", errno);
    return ReadFile(file, path, most);
}

bool Rename(const std::string& from, const std::string& to)
{
    const Place place(from);
    return place.folder
        && renameat(place.folder.Get(), place.name.c_str(), place.folder.Get(), fs::path(to).filename().c_str()) == 0;
}

bool Unlink(const std::string& path)
{
    const Place place(path);
    return place.folder && unlinkat(place.folder.Get(), place.name.c_str(), 0) == 0;
}

Failure Refusal(ExitStatus status, const std::string& text, int error)
{
    const std::string remedy = "; delete it there, or use another medium";
    if (error == EXDEV)
        return {status, text + ": a symbolic link in its path leads out of the medium" + remedy};
    if (error == ELOOP)
        return {status, text + ": it is a symbolic link" + remedy};
    if (error == ENXIO)
        return {status, text + ": this is not a file" + remedy};
    return SystemFailure(status, text, error);
}

bool RestrictMount(const char* point)
{
    return SetAttributes(point, MOUNT_ATTR_NOSUID | MOUNT_ATTR_NODEV | MOUNT_ATTR_NOEXEC, 0);
}

bool FollowLinks(const char* point, bool follow)
{
    return SetAttributes(point, follow ? 0 : MOUNT_ATTR_NOSYMFOLLOW, follow ? MOUNT_ATTR_NOSYMFOLLOW : 0);
}
} // namespace Medium
