// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "runannouncement.h"

#include "imagerecord.h"
#include "imagestore.h"

#include <QProcess>

RunAnnouncement::RunAnnouncement(bool isClone, const QString& serial, const QString& date)
{
    constexpr int often = 100; // milliseconds between two looks whether there is a new window
    plan.isClone = isClone;
    plan.table = ImageStore::PartitionTablePath(serial, date).toStdString();
    plan.began = TimeStamp();
    channel.Greet(plan.Line());
    channel.Connect();
    QObject::connect(&timer, &QTimer::timeout, &timer, [this] {
        channel.Connect();
    });
    timer.start(often);
}

void RunAnnouncement::Mean(const QStringList& parts, const QStringList& swap, bool bootLoader)
{
    plan.parts.emplace();
    for (const QString& part : parts)
        plan.parts->push_back(part.toStdString());
    for (const QString& part : swap)
        plan.swap.push_back(part.toStdString());
    plan.bootLoader = bootLoader;
    channel.Greet(plan.Line());
    channel.Tell(plan.Line());
}

void RunAnnouncement::BeginCommand(const QString& command, const QString& part)
{
    entry = {};
    entry.command = command.toStdString();
    entry.part = part.toStdString();
    entry.began = TimeStamp();
    entry.result = "begun";
    channel.Tell(entry.Line());
}

void RunAnnouncement::EndCommand(const QProcess& process)
{
    const bool isStarted = process.error() != QProcess::FailedToStart;
    const bool isGood = isStarted && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
    entry.result = isGood ? "done" : "failed";
    if (!isStarted)
        entry.reason = entry.command + " cannot be started; is this command installed?";
    else if (!isGood)
        entry.reason = entry.command + " has failed; its words are in the output window";
    channel.Tell(entry.Line());
}

void RunAnnouncement::Over()
{
    timer.stop();
    channel.Connect();
    channel.Tell(RunPlan::OverLine());
}
