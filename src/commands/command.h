// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "device.h"

#include <functional>
#include <string>
#include <vector>

/**
 * The frame of every command: its answers to --help and --version, its environment, the request to end, and its exit
 * status. Standard input is never read: the program's is a pipe that is never written to.
 *
 * @param work gives the exit status; a Failure that it throws becomes one line on standard error and its own status
 */
int RunFrame(int argc, char** argv, const std::function<int()>& work);

/**
 * The same for a command that the program calls. Options come before the first argument only, since an argument may
 * begin with a hyphen too: --progress-fd N.
 *
 * @param synopsis the arguments in words, as "DISK FILE"; one word each
 */
int RunCommandMain(int argc, char** argv, const std::string& synopsis,
    const std::function<void(const std::vector<std::string>&)>& run);

/** A Failure where there is no such folder, or it is reached by a link that leads out of the medium. */
void NeedFolder(const std::string& path);

/** Says which disk the command works on, and refuses the one that the running system is on. */
void Introduce(const Device& disk);
