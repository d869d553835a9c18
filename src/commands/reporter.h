// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "reportchannel.h"

#include <cstdint>
#include <string>

/**
 * Tells norvoReport, the window beside the program, what a command does, and opens it where nobody listens. Lines of
 * JSON go to it: {"table":PATH} when a connection is made, then lines of the run record and
 * {"phase":TEXT,"done":N,"total":N}. Nothing here waits or fails: a window that hangs loses lines, but not those that
 * tell how the work began and ended.
 */
class Reporter
{
public:
    /** The work begins. @param tablePath of the set's partition-table file @param line of the run record */
    void Begin(const std::string& tablePath, const std::string& line);

    /** What is being done from now on, in one word as "check". */
    void Enter(const std::string& phase);

    /** How far that is, in bytes; this may get lost. */
    void Progress(uint64_t done, uint64_t total);

    /** The work has ended, or could not begin. @param line of the run record */
    void End(const std::string& line);

private:
    ReportChannel channel;
    bool hasBegun = false;
    std::string phase;
};
