// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "device.h"

#include "descriptor.h"
#include "failure.h"
#include "process.h"
#include "tablefile.h"
#include "udev.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace {
uint64_t NumberIn(const std::string& path)
{
    return strtoull(FirstLine(path).c_str(), nullptr, 10);
}

KernelPartition PartitionIn(const std::string& folder)
{
    KernelPartition partition;
    partition.number = NumberIn(folder + "/partition");
    partition.start = NumberIn(folder + "/start");
    partition.size = NumberIn(folder + "/size");
    partition.device = ParseNumber(FirstLine(folder + "/dev"));
    return partition;
}

/** Links of partitions vanish and come back whenever a partition table was read. */
void WaitForName(const std::string& name)
{
    constexpr int tries = 30; // of 100 ms each
    if (LeadsToItsDisk(name) || !UdevRuns())
        return;
    SettleUdev();
    for (int i = 0; i < tries && !LeadsToItsDisk(name); ++i) {
        StopRequest::Check();
        usleep(100000);
    }
}

/** What dd has left in the way of a disk that comes later. */
void RemoveFileInTheWay(const std::string& path)
{
    struct stat status = {};
    if (lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
        return;
    if (unlink(path.c_str()) == 0)
        Warn(path
            + ": a regular file stood in the way of the disk, left by a copy to a disk that was not there; removed");
}
} // namespace

dev_t ParseNumber(const std::string& text)
{
    unsigned major = 0;
    unsigned minor = 0;
    return sscanf(text.c_str(), "%u:%u", &major, &minor) == 2 ? makedev(major, minor) : 0;
}

std::string FirstLine(const std::string& path)
{
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

std::string SysFolder(dev_t device)
{
    return "/sys/dev/block/" + std::to_string(major(device)) + ":" + std::to_string(minor(device));
}

std::string KernelName(dev_t device)
{
    char path[PATH_MAX];
    if (realpath(SysFolder(device).c_str(), path) == nullptr)
        return std::to_string(major(device)) + ":" + std::to_string(minor(device));
    return std::filesystem::path(path).filename();
}

Device Device::Find(const std::string& name)
{
    Device device;
    device.name = name;
    device.path = "/dev/" + name;
    if (name.empty() || name.find('/') != std::string::npos || name == "." || name == "..")
        throw Failure(ExitStatus::Usage, "\"" + name + "\" is not the name of a device in /dev");
    RemoveFileInTheWay(device.path);
    WaitForName(name);
    device.number = BlockNumber(device.path);
    if (device.number == 0)
        throw Failure(ExitStatus::Missing,
            device.path + ": no such block device"
                + (name.rfind("hd", 0) == 0 ? "; norvoDevices tells which drive has which name" : ""));
    const Descriptor node = Descriptor::Open(device.path, O_RDONLY);
    int sector = 0;
    // A node alone proves nothing.
    if (!std::filesystem::exists(SysFolder(device.number)) || !node
        || ioctl(node.Get(), BLKGETSIZE64, &device.bytes) != 0 || ioctl(node.Get(), BLKSSZGET, &sector) != 0)
        throw Failure(ExitStatus::Missing, device.path + ": there is no device behind this node");
    device.sectorBytes = sector;
    return device;
}

Device Device::FindDisk(const std::string& name)
{
    Device device = Find(name);
    if (FindKernelPartition(device.number))
        throw Failure(ExitStatus::Refused, device.path + " is a partition; name its disk");
    return device;
}

Device Device::OfFile(const std::string& path)
{
    Device device;
    device.name = std::filesystem::path(path).filename();
    device.path = path;
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0)
        throw SystemFailure(ExitStatus::Missing, path, errno);
    device.bytes = status.st_size;
    return device;
}

dev_t BlockNumber(const std::string& path)
{
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 && S_ISBLK(status.st_mode) ? status.st_rdev : 0;
}

bool LeadsToItsDisk(const std::string& name)
{
    const dev_t device = BlockNumber("/dev/" + name);
    const auto partition = FindKernelPartition(device);
    if (!partition)
        return device != 0;
    const std::string disk = DiskName(name, partition->number);
    return !disk.empty() && BlockNumber("/dev/" + disk) == WholeDisk(device);
}

std::optional<KernelPartition> FindKernelPartition(dev_t device)
{
    if (device == 0 || access((SysFolder(device) + "/partition").c_str(), F_OK) != 0)
        return {};
    return PartitionIn(SysFolder(device));
}

std::vector<KernelPartition> KernelPartitions(dev_t disk)
{
    std::vector<KernelPartition> partitions;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(SysFolder(disk), error)) {
        if (access((entry.path().string() + "/partition").c_str(), F_OK) == 0)
            partitions.push_back(PartitionIn(entry.path()));
    }
    std::sort(partitions.begin(), partitions.end(), [](const auto& a, const auto& b) {
        return a.number < b.number;
    });
    return partitions;
}

dev_t WholeDisk(dev_t device)
{
    char path[PATH_MAX];
    if (!FindKernelPartition(device) || realpath(SysFolder(device).c_str(), path) == nullptr)
        return device;
    return ParseNumber(FirstLine(std::string(path) + "/../dev"));
}

void FlushDevice(const Device& device)
{
    const Descriptor node = Descriptor::Open(device.path, O_RDWR);
    const StageEnd end = RunFunction("sync", [&node] {
        return node && fsync(node.Get()) == 0 ? 0 : 1;
    });
    if (!end.Succeeded())
        throw Failure(ExitStatus::Failed, device.path + ": what was written cannot be forced to the disk");
    // The next reading comes from the disk.
    if (device.number != 0)
        ioctl(node.Get(), BLKFLSBUF, 0);
}
