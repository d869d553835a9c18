// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "runentry.h"
#include "step.h"
#include "tablefile.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

/** What a run came to. */
struct Outcome
{
    bool good = false;
    size_t needed = 0;        ///< images that have to be there; in a restore, partitions that were begun
    size_t proved = 0;        ///< those that are
    size_t warned = 0;        ///< steps with warnings
    std::vector<Step> faults; ///< steps that failed, or that nothing was heard of
};

/**
 * A clone or restore run, as the commands tell of it one after the other. Whatever comes is believed as far as it can
 * be understood, and changes nothing otherwise.
 */
class RunState
{
public:
    /** A line that a command sent. @param connection tells commands apart; -1 for what was told without one */
    void Take(int connection, const std::string& line, int64_t now);

    /** The connection has ended: so has the command. */
    void Close(int connection, int64_t now);

    /** Looks up in the set's run record how steps ended that can't tell any more. Touches the REV disk. */
    void LookUp();

    /** What came of it; nothing as long as it goes on. @param isOver nothing will follow, whatever is missing */
    [[nodiscard]] std::optional<Outcome> Judge(bool isOver) const;

    [[nodiscard]] const std::vector<Step>& Steps() const
    {
        return steps;
    }
    [[nodiscard]] bool IsClone() const
    {
        return isClone;
    }
    /** A step whose command is heard; a null pointer where there is none. */
    [[nodiscard]] const Step* Heard() const;
    /** Whether a step has begun of which no end is known and no command is heard. */
    [[nodiscard]] bool HasUnheard() const;
    /** Whether it is a restore run whose last partition is done: the boot loader may follow, or nothing. */
    [[nodiscard]] bool IsNearEnd() const;
    /** The path of the set's partition-table file; empty before the first command. */
    [[nodiscard]] const std::string& TablePath() const
    {
        return tablePath;
    }
    /** The entry that told last which disk the run works on: model, serial number and size; empty before. */
    [[nodiscard]] const RunEntry& Disk() const
    {
        return disk;
    }
    /** The process that the commands were started by; 0 when not known. */
    [[nodiscard]] int Caller() const
    {
        return caller;
    }
    /** When something was heard last. */
    [[nodiscard]] int64_t LastWord() const
    {
        return lastWord;
    }
    /** From 0 to 1, by the sizes of the partitions. */
    [[nodiscard]] double Fraction() const;
    [[nodiscard]] int64_t Begin() const
    {
        return begin;
    }

private:
    void Greet(const std::string& path, int pid);
    void Apply(const RunEntry& entry, int connection, int64_t now);
    void Clear(bool clone, const RunEntry& first, int64_t now);
    Step& Find(Step::Kind kind, const std::string& name);
    [[nodiscard]] bool Has(const std::string& partition) const;
    void LoadTable();
    void LeaveOutSkipped(const Step& current);

    std::string greeted; ///< the table of the command that speaks; the run's own from its first entry on
    std::string tablePath;
    int caller = 0;
    bool isClone = false;
    bool sawHead = false; ///< the run's first command was heard, not found in the record
    RunEntry disk;
    std::string firstBegan; ///< of the first entry
    bool tableRead = false;
    int64_t begin = 0;
    int64_t lastWord = 0;
    std::vector<Step> steps;
    std::map<int, std::pair<Step::Kind, std::string>> speakers; ///< which step a connection tells of
};
