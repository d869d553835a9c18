// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "process.h"

#include <string>
#include <vector>

/**
 * Where a program is run that belongs to a restored system or believes what that holds: in mount, process, network and
 * IPC name spaces of its own, with a root from which nothing leads to the machine's files, no rights but those over the
 * owners of files, and a /dev with what is named here. Whatever it leaves behind ends with it.
 */
struct Enclosure
{
    std::string root;                 ///< what it sees as "/", a mount point; empty for the machine's own programs
    std::vector<std::string> writing; ///< with the machine's programs: folders that are shown at the same place as here
    std::vector<std::string> nodes;   ///< in /dev, besides null, zero, full and urandom
};

/**
 * Runs it to its end; its environment has a search path and English messages, nothing else. Beyond the Limits it is
 * ended, with all that it started, and that is a Failure with `Failed`. EnterMountSpace() was called before.
 *
 * @param command its path, or its name where it is the machine's, then its arguments
 */
StageEnd RunEnclosed(const Enclosure& enclosure, const std::vector<std::string>& command);
