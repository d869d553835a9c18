// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "runentry.h"
#include "runplan.h"
#include "step.h"
#include "tablefile.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

/**
 * A clone or restore run, as the commands tell of it one after the other, and the program of what it means to do.
 * Whatever comes is believed as far as it can be understood, and changes nothing otherwise.
 */
class RunState
{
public:
    /** Of the program whose run it is: not heard of, as when a command is run by hand. */
    enum class Program { Unknown, Running, Over, Gone };

    /** A line that was said. @param connection tells commands and programs apart */
    void Take(int connection, const std::string& line, int64_t now);

    /** The connection has ended: so has the command, or the program. */
    void Close(int connection, int64_t now);

    /** Looks up in the set's run record how steps ended that can't tell any more. Touches the REV disk. */
    void LookUp();

    [[nodiscard]] Program ProgramState() const
    {
        return program;
    }
    /** The step that was going on when the program was gone; an empty name where none was. */
    [[nodiscard]] const std::pair<Step::Kind, std::string>& LostIn() const
    {
        return lostIn;
    }
    /** Whether the set's table was read. */
    [[nodiscard]] bool KnowsTable() const
    {
        return tableRead;
    }
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
    void Announce(const RunPlan& next, int connection, int64_t now);
    void Apply(const RunEntry& entry, int connection, int64_t now);
    Step* Note(const RunEntry& entry);
    void Clear(
        bool clone, const std::string& table, const std::string& diskName, const std::string& began, int64_t now);
    Step& Find(Step::Kind kind, const std::string& name);
    [[nodiscard]] bool Has(const std::string& partition) const;
    void LoadTable();
    void FollowPlan();

    std::map<int, std::string> tables; ///< that of which a connection speaks
    std::string tablePath;
    Program program = Program::Unknown;
    RunPlan plan;          ///< of the program
    int programsLine = -1; ///< its connection
    std::pair<Step::Kind, std::string> lostIn;
    bool isClone = false;
    RunEntry disk;
    std::string firstBegan; ///< of the first entry
    std::string headBegan;  ///< of the run's first command; empty as long as it was not heard of
    bool tableRead = false;
    int64_t begin = 0;
    int64_t lastWord = 0;
    std::vector<Step> steps;
    std::map<int, std::pair<Step::Kind, std::string>> speakers; ///< which step a connection tells of
};
