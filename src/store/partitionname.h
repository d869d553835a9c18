// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <string>

/** hdc and 1 give hdc1, nvme0n1 and 1 give nvme0n1p1; number 0 gives the disk's own name. */
std::string PartitionName(const std::string& disk, unsigned number);

/** The reverse for a name of the partition with that number: its disk's name; empty where they don't fit. */
std::string DiskName(const std::string& partition, unsigned number);

/** Splits "hdc1" into "hdc" and 1; a name without a number is the disk itself, one that fits no disk gives none. */
void SplitName(const std::string& name, std::string& disk, unsigned& number);
