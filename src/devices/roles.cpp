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
        return {nullptr, Remark("the drive that was chosen is not connected: %1", {ChoiceText(choice)})};
    if (found.size() > 1) {
        return {nullptr,
            Remark("several drives are what was chosen (%1): %2; tie one by its place, with %3",
                {ChoiceText(choice), Names(found), std::string(byPlaceOption)})};
    }
    if (!found.front()->system.IsEmpty()) {
        return {nullptr,
            Remark(
                "the running system is on the drive that was chosen, %1 (%2)", {Names(found), found.front()->system})};
    }
    return {found.front(), Remark("chosen")};
}

Seat RevByItself(const std::vector<Drive>& drives)
{
    const auto found = Find(drives, [](const Drive& drive) {
        return IsRevModel(drive.identity.model) && drive.system.IsEmpty();
    });
    if (found.empty())
        return {nullptr, Remark("no drive calls itself an Iomega REV; choose one")};
    if (found.size() > 1)
        return {nullptr, Remark("several drives call themselves an Iomega REV: %1; choose one", {Names(found)})};
    return {found.front(), Remark("it calls itself an Iomega REV")};
}

Seat DiskByItself(const std::vector<Drive>& drives)
{
    const auto found = Find(drives, [](const Drive& drive) {
        return !drive.removable && !drive.optical && drive.bytes > 0 && drive.system.IsEmpty()
            && !IsRevModel(drive.identity.model);
    });
    if (found.empty())
        return {nullptr, Remark("there is no fixed disk but the running system's; choose one")};
    if (found.size() > 1)
        return {nullptr, Remark("several disks could be meant: %1; choose one", {Names(found)})};
    return {found.front(), Remark("the only fixed disk that the running system is not on")};
}

Seat DiskOf(const std::vector<Drive>& drives, const Ties& ties)
{
    if (!ties.disk)
        return ties.IsEmpty() ? DiskByItself(drives) : Seat{nullptr, Remark("none is chosen; choose one")};
    Seat seat = Chosen(drives, *ties.disk);
    if (seat.drive != nullptr && seat.drive->optical)
        return {nullptr, Remark("%1 is not a hard disk", {"/dev/" + seat.drive->name})};
    return seat;
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
    Roles roles{ties.rev ? Chosen(drives, *ties.rev) : RevByItself(drives), DiskOf(drives, ties)};
    if (roles.disk.drive != nullptr && roles.disk.drive == roles.rev.drive) {
        const auto remark = Remark("%1 cannot be the REV drive and the hard disk", {"/dev/" + roles.disk.drive->name});
        roles = {{nullptr, remark}, {nullptr, remark}};
    }
    return roles;
}

Identity TieOf(const Drive& drive, bool byPlace)
{
    const std::string name = "/dev/" + drive.name + " (" + drive.Text() + ")";
    if (byPlace && drive.identity.place.empty())
        throw Failure(ExitStatus::Refused,
            Remark("%1: it is not known where it is connected; it cannot be tied by that", {name}));
    if (byPlace)
        return {drive.identity.model, "", "", drive.identity.place};
    if (drive.identity.serial.empty() && drive.identity.wwn.empty()) {
        throw Failure(ExitStatus::Refused,
            Remark("%1 has neither a serial number nor a WWN that would tell it from others; tie it by its place, "
                   "with %2",
                {name, std::string(byPlaceOption)}));
    }
    return {drive.identity.model, drive.identity.serial, drive.identity.wwn, ""};
}
