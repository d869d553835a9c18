// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "confinement.h"

#include "capabilities.h"
#include "syscallfilter.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <linux/mount.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {
#if defined(__SANITIZE_ADDRESS__)
constexpr bool limitsMemory = false; // the sanitizer reserves terabytes
#else
constexpr bool limitsMemory = true;
#endif

constexpr char secrets[] = "/etc/norvo-clone-restore"; // with the key, which root may read without any capability

void Need(bool success, const char* what)
{
    if (success)
        return;
    dprintf(STDERR_FILENO, "the process cannot be confined: %s: %s\n", what, strerror(errno));
    _exit(126);
}

void SetMount(const char* path, unsigned flags, uint64_t set, uint64_t clear)
{
    mount_attr attributes = {};
    attributes.attr_set = set;
    attributes.attr_clr = clear;
    Need(syscall(SYS_mount_setattr, AT_FDCWD, path, flags, &attributes, sizeof attributes) == 0, path);
}

void Bind(const char* source, const char* target)
{
    Need(mount(source, target, nullptr, MS_BIND, nullptr) == 0, target);
}

/** A node in a small file system that nobody else sees. */
void MakeNode(const char* path, dev_t device)
{
    Need(mount("norvo", "/mnt", "tmpfs", 0, "size=64k,mode=755") == 0, "/mnt");
    Need(mknod(path, S_IFBLK | 0400, device) == 0, path);
}

/**
 * The system as it is, but read-only, without the key and without devices; the one that is wanted, and /dev/null, can
 * be opened.
 */
void ShutOffSystem(const Confinement& confinement)
{
    Need(unshare(CLONE_NEWNS) == 0, "unshare");
    Need(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "/");
    Bind("/dev/null", "/dev/null");
    if (access(secrets, F_OK) == 0)
        Need(mount("norvo", secrets, "tmpfs", 0, "size=4k,mode=755") == 0, secrets);
    const char* const device = confinement.device.c_str();
    const char* const alias = confinement.alias.c_str();
    struct stat status = {};
    const bool wantsDevice
        = confinement.access != Confinement::Access::None && stat(device, &status) == 0 && S_ISBLK(status.st_mode);
    const bool wantsNode = wantsDevice && confinement.access == Confinement::Access::Read;
    const char* const node = *alias != '\0' ? alias : "/mnt/device";
    if (wantsNode)
        MakeNode(node, status.st_rdev);
    if (wantsDevice && *alias == '\0')
        Bind(wantsNode ? node : device, device);
    SetMount("/", AT_RECURSIVE, MOUNT_ATTR_RDONLY | MOUNT_ATTR_NOSUID | MOUNT_ATTR_NODEV, 0);
    SetMount("/dev/null", 0, 0, MOUNT_ATTR_NODEV);
    if (wantsDevice)
        SetMount(*alias != '\0' ? "/mnt" : device, 0, 0, MOUNT_ATTR_NODEV);
}
} // namespace

Confinement ConfinedCompressor()
{
    constexpr uint64_t ofThread = 256U << 20; // with what the allocator reserves for each
    const auto threads = static_cast<uint64_t>(std::max(sysconf(_SC_NPROCESSORS_ONLN), 1L)) + 4;
    return {Confinement::Work::Program, threads * ofThread};
}

Confinement ConfinedParser(Confinement::Access access, const std::string& device, uint64_t bytes)
{
    return {Confinement::Work::Program, (2ULL << 30) + bytes / 1024, access, device};
}

void Confinement::operator()() const
{
    if (work == Confinement::Work::Program)
        close_range(3, ~0U, 0);
    Need(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0, "no_new_privs");
    if (geteuid() == 0) {
        ShutOffSystem(*this);
        Need(KeepCapabilities({}), "capabilities");
    }
    const rlimit limit = {memory, memory};
    Need(!limitsMemory || setrlimit(RLIMIT_AS, &limit) == 0, "memory");
    Need(FilterSystemCalls(work), "system calls");
}
