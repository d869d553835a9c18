// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "installedsystem.h"

/**
 * Makes GRUB anew and looks at the result. It is installed from inside the restored root, so that it fits the
 * configuration there, or with the machine's own GRUB where the root has none or can't be mounted; either in an
 * Enclosure. Afterwards nothing is mounted and everything is on the disk.
 *
 * @return what was installed, for the operator, as "from the system on /dev/hdc1 for BIOS"
 */
std::string RepairBootLoader(
    const Device& disk, const std::vector<DiskPartition>& partitions, const Findings& findings, const TableFile& saved);
