// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "lock.h"

#include "failure.h"
#include "process.h"
#include "tablefile.h"
#include "udev.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace {
constexpr int udevTries = 100; // of 50 ms each

/** Whether one of the process's descriptors has the lock: "lock: 1: FLOCK ADVISORY WRITE 123 00:05:678 0 EOF". */
bool HoldsLock(const std::filesystem::path& process, const std::string& file)
{
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(process / "fdinfo", error)) {
        std::ifstream info(entry.path());
        for (std::string line; std::getline(info, line);) {
            if (line.rfind("lock:", 0) == 0 && line.find(" FLOCK ") != std::string::npos
                && line.find(" " + file + " ") != std::string::npos)
                return true;
        }
    }
    return false;
}

struct Holder
{
    std::string number;
    std::string name;
};

/** The process that has the lock on that node; empty where none can be seen. */
Holder FindHolder(int node)
{
    struct stat status = {};
    fstat(node, &status);
    char file[64];
    snprintf(file, sizeof file, "%02x:%02x:%llu", major(status.st_dev), minor(status.st_dev),
        static_cast<unsigned long long>(status.st_ino));
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
        const std::string number = entry.path().filename();
        if (number.find_first_not_of("0123456789") == std::string::npos && HoldsLock(entry.path(), file))
            return {number, FirstLine(entry.path() / "comm")};
    }
    return {};
}

bool IsUdev(const Holder& holder)
{
    return holder.name.find("udev") != std::string::npos;
}
} // namespace

Device DiskOf(const Device& device)
{
    const auto partition = FindKernelPartition(device.number);
    if (!partition)
        return device;
    const dev_t disk = WholeDisk(device.number);
    const std::string name = DiskName(device.name, partition->number);
    if (name.empty()) {
        throw Failure(ExitStatus::Refused,
            device.path + " leads to partition " + std::to_string(partition->number)
                + " of its disk, which is not what its name says; correct the link");
    }
    if (BlockNumber("/dev/" + name) == disk)
        return Device::Find(name);
    throw Failure(ExitStatus::Refused,
        device.path + " is no partition of /dev/" + name + " but of " + KernelName(disk) + "; correct the links");
}

DiskLock::DiskLock(Device& device)
{
    constexpr int most = 5;
    for (int tries = 0; tries < most; ++tries) {
        SettleUdev(); // what udev has begun on the disk it could not end under the lock
        if (device.number != 0)
            device = Device::Find(device.name);
        Take(DiskOf(device));
        struct stat status = {};
        if (device.number == 0
            || (fstat(node, &status) == 0 && status.st_rdev == WholeDisk(device.number)
                && BlockNumber(device.path) == device.number && LeadsToItsDisk(device.name)))
            return;
        Release();
    }
    throw Failure(ExitStatus::Refused, device.path + ": its name leads to another disk each time; correct the links");
}

void DiskLock::Take(const Device& disk)
{
    node = open(disk.path.c_str(), O_RDONLY); // NOLINT(android-cloexec-open): handed down on purpose
    if (node < 0)
        throw SystemFailure(ExitStatus::Missing, disk.path + ": cannot be opened", errno);
    // udev looks at a disk that has just changed for a moment, under the same lock: nobody who works on it.
    for (int tries = 0; flock(node, LOCK_EX | LOCK_NB) != 0; ++tries) {
        const Holder holder = FindHolder(node);
        if (tries < udevTries && (IsUdev(holder) || (holder.name.empty() && tries < 3))) {
            StopRequest::Check();
            usleep(50000);
            continue;
        }
        close(node);
        throw Failure(ExitStatus::Refused,
            Remark("%1 is in use by another program: %2 has locked it; wait for its end",
                {disk.path,
                    holder.name.empty() ? Remark("one that cannot be seen")
                                        : Remark("%1 (process %2)", {holder.name, holder.number})}));
    }
}

DiskLock::~DiskLock()
{
    Release();
}

void DiskLock::Release()
{
    if (node >= 0)
        close(node);
    node = -1;
}
