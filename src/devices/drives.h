// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "identity.h"
#include "remark.h"

/** A drive of this machine: a whole disk with something behind it, so no loop device, logical volume and the like. */
struct Drive
{
    std::string name; ///< the kernel's, as "sda"
    dev_t number = 0;
    Identity identity;
    std::string bus;
    uint64_t bytes = 0; ///< 0 where no medium is in it
    bool removable = false;
    bool optical = false;     ///< the kernel takes it for a CD drive
    Remark system;            ///< why the running system needs it, as "sda1 is mounted at /"; empty where it doesn't
    std::vector<Remark> uses; ///< as "sda1 is mounted at /home"

    /** "Iomega RRD, serial number 123, 35.0 GB". */
    [[nodiscard]] std::string Text() const
    {
        return DriveText(identity.model, identity.serial, bytes);
    }
};

/**
 * All drives, by name.
 * @param handled the kernel's name of the disk that a udev rule is at work on: what udev knows of it is in the
 *        environment
 */
std::vector<Drive> ListDrives(const std::string& handled = {});
