// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "accounts.h"
#include "device.h"
#include "twins.h"

#include <string>
#include <vector>

/** How the blocks of a partition are saved. */
struct SavingPlan
{
    std::string variant;         ///< the partclone.VARIANT that reads its used blocks; empty where all blocks are saved
    std::string state = "clean"; ///< what the record says: why all blocks are saved where they are
    SpaceAccount (*account)(const VolumeReader& volume) = nullptr; ///< what partclone's map is held against; or none
    std::vector<Twins> (*twins)(const VolumeReader& volume) = nullptr;

    /** What the file system keeps twice; nothing where that can't be told. */
    [[nodiscard]] std::vector<Twins> FindTwins(const Device& device) const;
};

/**
 * Only a file system that partclone knows, on one device, that was cleanly unmounted and has no errors flagged, is
 * saved by its used blocks: a journal that was not played back can name blocks which no list of used blocks has yet.
 *
 * @param type as libblkid names it
 */
SavingPlan PlanSaving(const Device& device, const std::string& type);
