// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "reportchannel.h"
#include "runentry.h"
#include "runplan.h"

#include <QTimer>

class QProcess;

/**
 * Tells norvoReport what a run is going to do, and that it has done it: otherwise that window could not tell a run that
 * was cut off from one in which the operator wanted no more. It is told as soon as it listens, which the first command
 * sees to. Nothing waits for it, and where it isn't there nothing happens. One lives as long as its run; when the
 * program ends before Over(), the window sees that by itself.
 */
class RunAnnouncement
{
public:
    RunAnnouncement(bool isClone, const QString& serial, const QString& date);

    /** Which partitions are saved or written, which swap areas are made anew, and whether GRUB is looked after. */
    void Mean(const QStringList& parts, const QStringList& swap = {}, bool bootLoader = false);

    /** Of a command that doesn't speak for itself; `part` is what it works on, as "hdc2". */
    void BeginCommand(const QString& command, const QString& part);
    void EndCommand(const QProcess& process);

    void Over();

private:
    RunPlan plan;
    RunEntry entry;
    ReportChannel channel;
    QTimer timer;
};
