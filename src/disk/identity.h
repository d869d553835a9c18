// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "device.h"
#include "udev.h"

/** What tells a drive from every other, whatever name the kernel gives it. Texts are empty where it has none. */
struct Identity
{
    std::string model;  ///< with its maker's name, where the drive tells both
    std::string serial; ///< the drive's own serial number
    std::string wwn;    ///< World Wide Name, as 0x5000c500a1b2c3d4
    std::string place;  ///< where it is connected, as pci-0000:00:1f.2-ata-1.0 (udev's ID_PATH)

    static Identity Of(dev_t disk, UdevDevice::Source source = UdevDevice::Source::Database);
};

/** "ata", "usb", "nvme" and so on; empty where it is not known. */
std::string BusOf(dev_t disk, UdevDevice::Source source = UdevDevice::Source::Database);

/** Whether a drive of that model calls itself an Iomega REV. */
bool IsRevModel(const std::string& model);

/** 1.5 TB, 35.0 GB and so on, in powers of ten as on a disk's label. */
std::string SizeText(uint64_t bytes);

/** "Iomega RRD, serial number 123, 35.0 GB", leaving out what is not known. */
std::string DriveText(const std::string& model, const std::string& serial, uint64_t bytes);
