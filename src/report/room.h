// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "runstate.h"

#include <cstdint>
#include <optional>

/** The room on the REV disk, and what the images of a clone run are going to take of it. */
struct Room
{
    std::optional<uint64_t> left;   ///< bytes; nothing as long as that is not known
    std::optional<uint64_t> needed; ///< bytes for what is still to be written; nothing as long as that can't be told

    [[nodiscard]] bool IsTooSmall() const
    {
        return left && needed && *needed > *left;
    }
};

/** Looks at the REV disk: to be called only while a command works on it. */
Room LookAtRoom(const RunState& run);

/**
 * What is still to be written, by how much the data shrink and how full the partitions were so far.
 * @param written bytes of the unfinished image of the step that is running
 */
std::optional<uint64_t> EstimateNeed(const RunState& run, uint64_t written);
