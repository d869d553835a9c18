// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "fstab.h"
#include "tablefile.h"

#include <string>
#include <vector>

/** The swap areas' identities that the image set in this folder has recorded for the disk; none where it has no table.
 */
std::vector<SwapIdentity> ReadSwapIdentities(const std::string& folder, const std::string& disk);

/**
 * Gives swap areas that were made again the identities back by which the restored system finds them; it would wait for
 * them at every start otherwise. Where the set has none recorded, the system's file system table tells, if it leaves no
 * doubt. Says what was done, and warns of a swap area that the system will not find. A Failure with `Failed` or `Tool`.
 */
void RestoreSwapIdentities(
    std::vector<DiskPartition> partitions, const std::vector<SwapIdentity>& saved, const Fstab& fstab);
