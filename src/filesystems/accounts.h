// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "spaceaccount.h"
#include "twins.h"
#include "volumereader.h"

#include <vector>

// What each kind of file system says of its space. All throw NoAccount where that can't be read whole, or contradicts
// itself: then no map of used blocks is to be trusted.

SpaceAccount AccountOfFat(const VolumeReader& volume);
SpaceAccount AccountOfExfat(const VolumeReader& volume);
SpaceAccount AccountOfNtfs(const VolumeReader& volume);
SpaceAccount AccountOfHfsPlus(const VolumeReader& volume);
SpaceAccount AccountOfExt(const VolumeReader& volume);
SpaceAccount AccountOfXfs(const VolumeReader& volume);
SpaceAccount AccountOfBtrfs(const VolumeReader& volume);

/** The two copies of a FAT, where each change is made in both. */
std::vector<Twins> TwinsOfFat(const VolumeReader& volume);
