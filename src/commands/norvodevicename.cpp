// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

// norvo-device-name KERNELNAME, for the udev rule: prints the name in /dev that this disk or partition has besides the
// kernel's, as "hdc1", or nothing. What udev knows of the disk is in the environment.
//
// norvo-device-name --refresh: a disk or partition has come or gone, which may change what others are called.

#include "about.h"
#include "failure.h"
#include "links.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace {
std::string Environment(const char* name)
{
    const char* const value = getenv(name);
    return value == nullptr ? "" : value;
}

void PrintName(const std::string& kernelName)
{
    const std::string folder = "/sys/class/block/" + kernelName;
    const dev_t device = ParseNumber(FirstLine(folder + "/dev"));
    const auto partition = FindKernelPartition(device);
    const std::string disk = KernelName(WholeDisk(device));
    const std::vector<Drive> drives = ListDrives(partition ? "" : disk);
    const std::string name = DecideNow(drives).NameOf(disk, partition ? partition->number : 0);
    if (!name.empty())
        Say(name);
}

void Refresh()
{
    std::vector<Drive> drives = ListDrives();
    const std::string gone = Environment("ACTION") == "remove" ? Environment("DEVPATH") : "";
    for (auto drive = drives.begin(); drive != drives.end();)
        drive = drive->name == std::filesystem::path(gone).filename() ? drives.erase(drive) : drive + 1;
    RefreshLinks(drives, DecideNow(drives));
}
} // namespace

int main(int argc, char** argv)
{
    SetCommandName("norvo-device-name");
    if (AnswersQuestion(argc, argv, CommandName()))
        return 0;
    if (argc != 2) {
        Warn("usage: norvo-device-name KERNELNAME|--refresh");
        return static_cast<int>(ExitStatus::Usage);
    }
    try {
        if (std::string(argv[1]) == "--refresh")
            Refresh();
        else
            PrintName(argv[1]);
    } catch (const std::exception& error) {
        Warn(error.what());
        return static_cast<int>(ExitStatus::Failed);
    }
    return 0;
}
