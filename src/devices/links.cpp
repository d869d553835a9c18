// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "links.h"

#include "descriptor.h"
#include "failure.h"

#include <filesystem>
#include <map>
#include <set>

#include <fcntl.h>

namespace {
using Links = std::map<std::string, dev_t>; // by name in /dev

Links WantedLinks(const std::vector<Drive>& drives, const Roles& roles)
{
    Links links;
    for (const Drive& drive : drives) {
        const std::string name = roles.NameOf(drive.name, 0);
        if (name.empty())
            continue;
        links[name] = drive.number;
        for (const KernelPartition& partition : KernelPartitions(drive.number)) {
            const std::string part = roles.NameOf(drive.name, partition.number);
            if (!part.empty())
                links[part] = partition.device;
        }
    }
    return links;
}

/** Nodes of drives that the kernel itself calls so are not links; nobody can change them. */
Links PresentLinks()
{
    Links links;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/dev", error)) {
        const std::string name = entry.path().filename();
        const bool ours = name == "hdb"
            || (name.rfind("hdc", 0) == 0 && name.find_first_not_of("0123456789", 3) == std::string::npos);
        if (ours && entry.is_symlink(error))
            links[name] = BlockNumber(entry.path());
    }
    return links;
}

/** What has a wrong link or lacks one. */
std::set<dev_t> Differing(const Links& wanted, const Links& present)
{
    std::set<dev_t> devices;
    for (const auto& [name, device] : wanted) {
        const auto found = present.find(name);
        if (found == present.end() || found->second != device)
            devices.insert(device);
    }
    for (const auto& [name, device] : present) {
        const auto found = wanted.find(name);
        if (found == wanted.end() || found->second != device)
            devices.insert(device);
    }
    devices.erase(0);
    return devices;
}
} // namespace

void HaveUdevLook(dev_t device)
{
    const Descriptor file = Descriptor::Open(SysFolder(device) + "/uevent", O_WRONLY);
    const std::string action = "change";
    if (file)
        WriteAll(file.Get(), action.data(), action.size());
}

bool LinksAreRight(const std::vector<Drive>& drives, const Roles& roles)
{
    return Differing(WantedLinks(drives, roles), PresentLinks()).empty();
}

void RefreshLinks(const std::vector<Drive>& drives, const Roles& roles)
{
    for (const dev_t device : Differing(WantedLinks(drives, roles), PresentLinks())) {
        // One that udev has not seen yet is decided on when it is.
        if (UdevDevice(device).IsKnown())
            HaveUdevLook(device);
    }
}

Roles DecideNow(const std::vector<Drive>& drives)
{
    try {
        return Decide(drives, Ties::Read());
    } catch (const Failure& failure) {
        Warn(failure.what());
        return {{nullptr, failure.remark}, {nullptr, failure.remark}};
    }
}
