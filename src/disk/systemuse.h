// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "device.h"
#include "mounts.h"

/** What keeps this machine's disks, as it was when this object was made. */
class SystemUse
{
public:
    SystemUse();

    /** What is mounted of the disk or used as swap, as "sda1 is mounted at /home". */
    [[nodiscard]] std::vector<std::string> Of(dev_t disk) const;

    /** The one of these that shows that the running system is on the disk; empty where it is not. */
    [[nodiscard]] std::string SystemOn(dev_t disk) const;

private:
    Uses now;
    Uses fstab;
};

/** A Failure with `Refused` for the disk that the running system is on. */
void RefuseSystemDisk(const Device& disk);
