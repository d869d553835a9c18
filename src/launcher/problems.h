// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <QString>

/** What is wrong and what to do about it, in the operator's language; empty where nothing is. */
namespace Problems {
/** With the names /dev/hdb and /dev/hdc. */
QString OfDrives();

/**
 * With the start as root.
 * @param started whether the program that gives the rights is there
 * @param crashed whether a signal ended it, or the program
 * @param status its exit status: 126 and 127 are of the one that gives the rights, 3 of norvo-as-root
 */
QString OfStart(bool started, bool crashed, int status);
} // namespace Problems
