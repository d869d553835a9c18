// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <QProcess>

/**
 * Runs an external command to its end while the windows stay alive: events are processed during the wait.
 *
 * @param process the process object to use, which nothing else runs at the time; its working directory holds, and the
 *        program's environment is inherited. Its output channels are the caller's to read or to send elsewhere.
 * @param command the command's name, looked up on the search path, then its arguments
 *
 * There is no result: a command that can't be started counts like one that has ended. The caller may ask `process`
 * afterwards. There is no timeout either. The command's standard input is a pipe that is never written to nor closed.
 */
void RunCommand(QProcess& process, const QStringList& command);
