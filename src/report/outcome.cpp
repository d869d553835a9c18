// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "outcome.h"

#include "runstate.h"

namespace {
/** Which step the program ended in, or else before which one. */
void FindLast(Outcome& outcome, const RunState& run)
{
    const Step* begun = nullptr;
    const Step* next = nullptr;
    for (const Step& step : run.Steps()) {
        if (step.name == run.LostIn().second && step.kind == run.LostIn().first) {
            outcome.last = step;
            outcome.wasGoingOn = true;
            return;
        }
        if (step.HasEnded() || step.state == Step::State::Running)
            begun = &step;
        else if (step.state == Step::State::Waiting && next == nullptr)
            next = &step;
    }
    outcome.wasGoingOn = begun != nullptr && !begun->IsDone() && (begun->isCut || !begun->HasEnded());
    if (outcome.wasGoingOn)
        outcome.last = *begun;
    else if (next != nullptr)
        outcome.last = *next;
}
} // namespace

Step::State Outcome::Final(const Step& step) const
{
    if (step.state == Step::State::Waiting)
        return kind == Kind::Faulty ? Step::State::Failed : Step::State::NotBegun;
    return step.state == Step::State::Running ? Step::State::Failed : step.state;
}

std::optional<Outcome> Outcome::Of(const RunState& run, bool isSilent)
{
    using Program = RunState::Program;
    const bool isOver = run.ProgramState() == Program::Over || run.ProgramState() == Program::Gone
        || (run.ProgramState() == Program::Unknown && isSilent);
    if (run.Heard() != nullptr || run.Steps().empty() || !isOver)
        return {};
    Outcome outcome;
    outcome.kind = run.ProgramState() == Program::Unknown ? Kind::ByHand
        : run.ProgramState() == Program::Gone             ? Kind::Unfinished
                                                          : Kind::Faulty;
    for (const Step& step : run.Steps()) {
        if (step.state == Step::State::LeftOut)
            continue;
        const bool isImage = step.kind == Step::Kind::Partition && !step.IsSwap();
        outcome.needed += isImage ? 1 : 0;
        outcome.proved += isImage && step.IsDone() ? 1 : 0;
        outcome.warned += step.state == Step::State::Warned ? 1 : 0;
        if (step.IsDone())
            outcome.done.push_back(step);
        else if (outcome.Final(step) == Step::State::Failed)
            outcome.faults.push_back(step);
    }
    if (outcome.kind == Kind::Unfinished)
        FindLast(outcome, run);
    // Without its table a run that seems whole may lack what the table names.
    else if (outcome.kind == Kind::Faulty && outcome.faults.empty() && run.KnowsTable())
        outcome.kind = Kind::Complete;
    return outcome;
}
