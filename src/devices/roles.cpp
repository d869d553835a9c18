// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "roles.h"

#include "failure.h"
#include "tablefile.h"

namespace {
std::string Names(const std::vector<const Drive*>& drives)
{
    std::string names;
    for (const Drive* drive : drives)
        names += (names.empty() ? "/dev/" : ", /dev/") + drive->name;
    return names;
}

template <class Condition> std::vector<const Drive*> Find(const std::vector<Drive>& drives, const Condition& condition)
{
    std::vector<const Drive*> found;
    for (const Drive& drive : drives) {
        if (condition(drive))
            found.push_back(&drive);
    }
    return found;
}

Seat Chosen(const std::vector<Drive>& drives, const Identity& choice)
{
    const auto found = Find(drives, [&choice](const Drive& drive) {
        return Matches(drive.identity, choice);
    });
    if (found.empty())
        return {nullptr, "the drive that was chosen is not connected: " + ChoiceText(choice)};
    if (found.size() > 1) {
        return {nullptr,
            "several drives are what was chosen (" + ChoiceText(choice) + "): " + Names(found)
                + "; tie one by its place, with --by-place"};
    }
    if (!found.front()->system.empty()) {
        return {nullptr,
            "the running system is on the drive that was chosen, /dev/" + found.front()->name + " ("
                + found.front()->system + ")"};
    }
    return {found.front(), "chosen"};
}

Seat RevByItself(const std::vector<Drive>& drives)
{
    const auto found = Find(drives, [](const Drive& drive) {
        return IsRevModel(drive.identity.model) && drive.system.empty();
    });
    if (found.empty())
        return {nullptr, "no drive calls itself an Iomega REV; choose one"};
    if (found.size() > 1)
        return {nullptr, "several drives call themselves an Iomega REV: " + Names(found) + "; choose one"};
    return {found.front(), "it calls itself an Iomega REV"};
}

Seat DiskByItself(const std::vector<Drive>& drives)
{
    const auto found = Find(drives, [](const Drive& drive) {
        return !drive.removable && !drive.optical && drive.bytes > 0 && drive.system.empty()
            && !IsRevModel(drive.identity.model);
    });
    if (found.empty())
        return {nullptr, "there is no fixed disk but the running system's; choose one"};
    if (found.size() > 1)
        return {nullptr, "several disks could be meant: " + Names(found) + "; choose one"};
    return {found.front(), "the only fixed disk that the running system is not on"};
}
} // namespace

std::string Roles::NameOf(const std::string& drive, unsigned partition) const
{
    if (disk.drive != nullptr && disk.drive->name == drive)
        return PartitionName("hdc", partition);
    return rev.drive != nullptr && rev.drive->name == drive && partition == 0 ? "hdb" : "";
}

Roles Decide(const std::vector<Drive>& drives, const Ties& ties)
{
    Roles roles;
    roles.rev = ties.rev ? Chosen(drives, *ties.rev) : RevByItself(drives);
    if (ties.disk)
        roles.disk = Chosen(drives, *ties.disk);
    else if (ties.IsEmpty())
        roles.disk = DiskByItself(drives);
    else
        roles.disk = {nullptr, "none is chosen; choose one"};
    if (roles.disk.drive != nullptr && roles.disk.drive->optical)
        roles.disk = {nullptr, "/dev/" + roles.disk.drive->name + " is not a hard disk"};
    if (roles.disk.drive != nullptr && roles.disk.drive == roles.rev.drive) {
        const std::string remark = "/dev/" + roles.disk.drive->name + " cannot be the REV drive and the hard disk";
        roles.rev = {nullptr, remark};
        roles.disk = {nullptr, remark};
    }
    return roles;
}

Identity TieOf(const Drive& drive, bool byPlace)
{
    const std::string name = "/dev/" + drive.name + " (" + drive.Text() + ")";
    if (byPlace && drive.identity.place.empty())
        throw Failure(ExitStatus::Refused, name + ": it is not known where it is connected; it cannot be tied by that");
    if (byPlace)
        return {drive.identity.model, "", "", drive.identity.place};
    if (drive.identity.serial.empty() && drive.identity.wwn.empty()) {
        throw Failure(ExitStatus::Refused,
            name
                + " has neither a serial number nor a WWN that would tell it from others; tie it by its place, with "
                  "--by-place");
    }
    return {drive.identity.model, drive.identity.serial, drive.identity.wwn, ""};
}
