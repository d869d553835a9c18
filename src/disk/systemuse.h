// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "device.h"
#include "mounts.h"
#include "remark.h"
#include "udev.h"

/** What keeps this machine's disks, as it was when this object was made. */
class SystemUse
{
public:
    SystemUse();

    /** What is mounted of the disk or used as swap, as "sda1 is mounted at /home". */
    [[nodiscard]] std::vector<Remark> Of(dev_t disk) const;

    /** What shows that the running system is on the disk, or came from it; empty where it did not. */
    [[nodiscard]] Remark SystemOn(dev_t disk, UdevDevice::Source source = UdevDevice::Source::Database) const;

private:
    Uses now;
    Uses fstab;
    std::string medium;
};

/** What helps against that, in a command's words. */
inline constexpr char tieAnother[] = "tie another one with norvoDevices";

/** A Failure with `Refused` for the disk that the running system is on. */
void RefuseSystemDisk(const Device& disk);
