// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "step.h"

#include <algorithm>

double Step::Fraction() const
{
    return total == 0 ? 0 : std::min(1.0, static_cast<double>(done) / static_cast<double>(total));
}

double Step::Rate() const
{
    if (samples.size() < 2 || samples.back().first <= samples.front().first)
        return 0;
    return static_cast<double>(samples.back().second - samples.front().second) * 1000
        / static_cast<double>(samples.back().first - samples.front().first);
}

double Step::SecondsLeft() const
{
    return Rate() > 0 && total > done ? static_cast<double>(total - done) / Rate() : 0;
}

double Step::FractionInRun(bool isClone) const
{
    constexpr double share = 0.1; // of proving after, or of checking before the writing
    if (HasEnded())
        return 1;
    if (state != State::Running)
        return 0;
    if (isClone)
        return phase == "prove" ? 1 - share : Fraction() * (1 - share);
    return phase == "check" ? Fraction() * share : share + Fraction() * (1 - share);
}

void Step::Advance(const std::string& nextPhase, uint64_t nextDone, uint64_t nextTotal, int64_t now)
{
    if (nextPhase != phase || nextDone < done)
        samples.clear();
    phase = nextPhase;
    done = nextDone;
    total = nextTotal;
    if (phase == "write")
        dataBytes = total;
    samples.emplace_back(now, done);
    if (samples.size() > 15)
        samples.pop_front();
}
