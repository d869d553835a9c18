// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <string>

/** The version of all programs. */
const char* ProgramVersion();

/**
 * Answers --help and --version on standard output where one of them is the only argument. To be called before anything
 * is opened, locked or shown: no display, device or right is needed.
 *
 * @param name of the program, whatever file it was started from
 * @return whether it was asked; the program ends with success then
 */
bool AnswersQuestion(int argc, char** argv, const std::string& name);
