// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "runstate.h"

#include <cstdint>

/** The room on the REV disk, and what the images of a clone run are going to take of it. */
struct Room
{
    uint64_t left = 0;   ///< bytes
    uint64_t needed = 0; ///< bytes for what is still to be written; 0 as long as that can't be told

    [[nodiscard]] bool IsTooSmall() const
    {
        return needed > left;
    }
};

/** Looks at the REV disk: to be called only while a command works on it. */
Room LookAtRoom(const RunState& run);

/**
 * What is still to be written, by how much the data shrink and how full the partitions were so far.
 * @param written bytes of the unfinished image of the step that is running
 */
uint64_t EstimateNeed(const RunState& run, uint64_t written);
