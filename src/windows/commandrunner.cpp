// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "commandrunner.h"

#include "busy.h"

#include <QCoreApplication>

void RunCommand(QProcess& process, const QStringList& command)
{
    const Busy busy;
    process.setProgram(command.first());
    process.setArguments(command.mid(1));
    process.start();
    // Blocks between events: a loop that polls would take a processor away from the command.
    while (process.state() != QProcess::NotRunning)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}
