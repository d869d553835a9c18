// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <optional>
#include <string>
#include <vector>

/**
 * What a run of the program is going to do, as it tells norvoReport: a line {"run":"clone" or "restore","table":PATH,
 * "began":TIME,"parts":[NAME...],"swap":[NAME...],"boot":BOOL}. When the run has come to its end the line OverLine()
 * follows. Names are those of partitions, as "hdc1".
 */
struct RunPlan
{
    bool isClone = false;
    std::string table; ///< path of the set's partition-table file
    std::string began; ///< when the run began, as in the run record: its commands begin later
    std::optional<std::vector<std::string>> parts; ///< to save or write; a clone knows them when it has the table
    std::vector<std::string> swap;                 ///< swap areas to make anew
    bool bootLoader = false;                       ///< to repair it

    [[nodiscard]] std::string Line() const;

    /** What a line says; nothing where it isn't such a line. */
    static std::optional<RunPlan> Parse(const std::string& line);

    static std::string OverLine();
    static bool IsOverLine(const std::string& line);

    /** The name of the disk, as "hdc". */
    [[nodiscard]] std::string Disk() const;
};
