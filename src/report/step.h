// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <utility>
#include <vector>

/** One thing that a clone or restore run does. Times are milliseconds of a clock that is never set. */
struct Step
{
    enum class Kind { Table, Partition, BootLoader };
    enum class State { Waiting, Running, Done, Warned, Failed, LeftOut, NotBegun };

    Kind kind = Kind::Partition;
    State state = State::Waiting;
    std::string name;    ///< as "hdc1"; that of the disk for table and boot loader
    std::string content; ///< as "ext4"; empty as long as only the table is known
    unsigned type = 0;   ///< of the table, for a partition
    uint64_t bytes = 0;  ///< size of the partition
    std::string began;
    std::string reason;
    std::vector<std::string> warnings;
    std::string phase; ///< "check", "write" or "prove"
    uint64_t done = 0; ///< bytes of this phase
    uint64_t total = 0;
    uint64_t dataBytes = 0; ///< what there is to save or write; 0 when not known
    uint64_t imageBytes = 0;
    bool isHeard = false; ///< a connection of its command is open
    bool isCut = false;   ///< that ended before the work did
    std::deque<std::pair<int64_t, uint64_t>> samples;

    [[nodiscard]] bool IsSwap() const
    {
        return type == 0x82;
    }
    [[nodiscard]] bool HasEnded() const
    {
        return state == State::Done || state == State::Warned || state == State::Failed;
    }
    [[nodiscard]] bool IsDone() const
    {
        return state == State::Done || state == State::Warned;
    }
    /** How much of the phase is done, from 0 to 1. */
    [[nodiscard]] double Fraction() const;
    /** Bytes a second; 0 when not known. */
    [[nodiscard]] double Rate() const;
    /** Until the end of the phase; 0 when not known. */
    [[nodiscard]] double SecondsLeft() const;
    /** Where it is known to be in the run as a whole, from 0 to 1. */
    [[nodiscard]] double FractionInRun(bool isClone) const;

    /** Its command is so far. */
    void Advance(const std::string& phase, uint64_t done, uint64_t total, int64_t now);
};
