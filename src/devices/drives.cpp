// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "drives.h"

#include "systemuse.h"

#include <algorithm>
#include <filesystem>

namespace {
/** Loop devices, logical volumes and their like have no device; the boot areas of a memory card belong to a disk. */
bool IsDrive(const std::filesystem::path& folder)
{
    std::error_code error;
    const std::filesystem::path parent = std::filesystem::canonical(folder / "device", error);
    return !error && !std::filesystem::exists(parent / "partition") && !std::filesystem::exists(parent / "size")
        && FirstLine(folder / "hidden") != "1";
}

Drive ReadDrive(const std::string& name, dev_t number, UdevDevice::Source source, const SystemUse& use)
{
    const UdevDevice device(number);
    Drive drive;
    drive.name = name;
    drive.number = number;
    drive.identity = Identity::Of(number, source);
    drive.bus = BusOf(number, source);
    drive.bytes = strtoull(device.Attribute("size").c_str(), nullptr, 10) * 512;
    drive.removable = device.Attribute("removable") == "1";
    drive.optical = name.rfind("sr", 0) == 0;
    drive.system = use.SystemOn(number, source);
    drive.uses = use.Of(number);
    return drive;
}
} // namespace

std::vector<Drive> ListDrives(const std::string& handled)
{
    const SystemUse use;
    std::vector<Drive> drives;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/sys/block", error)) {
        const std::string name = entry.path().filename();
        const dev_t number = ParseNumber(FirstLine(entry.path() / "dev"));
        const auto source = name == handled ? UdevDevice::Source::Event : UdevDevice::Source::Database;
        if (number != 0 && IsDrive(entry.path()) && name.rfind("fd", 0) != 0)
            drives.push_back(ReadDrive(name, number, source, use));
    }
    std::sort(drives.begin(), drives.end(), [](const Drive& a, const Drive& b) {
        return a.name.size() != b.name.size() ? a.name.size() < b.name.size() : a.name < b.name;
    });
    return drives;
}
