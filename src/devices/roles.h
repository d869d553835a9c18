// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "drives.h"
#include "ties.h"

/** The option of norvoDevices that has a drive known by its place; a window names its own. */
inline constexpr char byPlaceOption[] = "--by-place";

/** Who has one of the two names. */
struct Seat
{
    const Drive* drive; ///< one of those that were decided on; null where nobody has it
    Remark remark;      ///< how it came to it, or why nobody has it
};

/** Which drive is /dev/hdb and which is /dev/hdc. */
struct Roles
{
    Seat rev;
    Seat disk;

    /** The name in /dev that a drive's partition has, or the drive itself for number 0; empty where it has none. */
    [[nodiscard]] std::string NameOf(const std::string& drive, unsigned partition) const;
};

/**
 * What the operator has chosen counts. Without a choice, the one drive that calls itself an Iomega REV has /dev/hdb;
 * without any choice at all, the one fixed disk besides it that the running system is not on has /dev/hdc. Nothing is
 * guessed otherwise, and the running system's disk and one disk for both are never taken.
 */
Roles Decide(const std::vector<Drive>& drives, const Ties& ties);

/** What ties that drive, by its serial number and WWN or else by its place. A Failure with `Refused` without any. */
Identity TieOf(const Drive& drive, bool byPlace);
