// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "step.h"

#include <optional>
#include <vector>

class RunState;

/** What a run came to. */
struct Outcome
{
    enum class Kind {
        Complete,   ///< the program has said that its run is over, and all that it meant is done
        Faulty,     ///< it has, and something is not
        Unfinished, ///< the program ended before
        ByHand      ///< no program has said what was meant: what was heard is all there is
    };

    Kind kind = Kind::ByHand;
    size_t needed = 0;        ///< images to make, or partitions to write
    size_t proved = 0;        ///< those that are
    size_t warned = 0;        ///< steps with warnings
    std::vector<Step> done;   ///< steps that came to a good end
    std::vector<Step> faults; ///< steps that did not, or that nothing was heard of
    std::optional<Step> last; ///< unfinished: the step that was going on, or else that came next
    bool wasGoingOn = false;  ///< of `last`

    /** What became of a step whose end is not known. */
    [[nodiscard]] Step::State Final(const Step& step) const;

    /** Nothing; or what came of the run, once it is over. @param isSilent nothing was heard for a while */
    static std::optional<Outcome> Of(const RunState& run, bool isSilent);
};
