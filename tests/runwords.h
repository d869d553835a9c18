// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "diskimages.h"
#include "reportwindow.h"
#include "runentry.h"
#include "runplan.h"

#include <map>

/** What the tests of the report share: an image set, and the words of commands and program about it. */
class RunWords : public QObject
{
protected:
    QTemporaryDir folder{Scratch()};

    /** A set of hdc1, the swap area hdc2, hdc3 and, in a container, hdc5; gives the path of its table. */
    std::string NewSet(const std::string& records = "") const
    {
        const std::string path = NewFile(folder, "A_1_hdc.sf",
            "/dev/hdc1 : start=2048, size=40960, Id=83\n/dev/hdc2 : start=43008, size=2048, Id=82\n"
            "/dev/hdc3 : start=45056, size=40960, Id=83\n/dev/hdc4 : start=0, size=0, Id= 0\n");
        NewFile(folder, "A_1_hdc.mbr", std::string(512, 'x'));
        NewFile(folder, "A_1_hdc.run", records);
        return path;
    }

    /** As "hdc1 failed REASON": a line of the run record, where "PT" is the table of a clone run, and so on. */
    static std::string Entry(const QString& words)
    {
        static const std::map<QString, std::string> commands
            = {{"clonePT", "norvoClonePT"}, {"clone", "norvoPartimageClone"}, {"restorePT", "norvoRestorePT"},
                {"restore", "norvoPartimageRestore"}, {"grub", "norvoRestoreGrub"}, {"mkswap", "mkswap"}};
        RunEntry entry;
        entry.command = commands.at(words.section(' ', 0, 0));
        entry.part = words.section(' ', 1, 1).toStdString();
        entry.result = words.section(' ', 2, 2).toStdString();
        entry.began = "2026-03-02T11:22:3" + words.section(' ', 3, 3).toStdString() + "Z";
        entry.reason = words.section(' ', 4).toStdString();
        entry.model = "A <b>disk</b>";
        entry.serial = "A7";
        entry.diskBytes = 1500;
        if (entry.result == "done" && !entry.reason.empty())
            entry.warnings = {std::exchange(entry.reason, "")};
        return entry.Line();
    }

    static std::string Greeting(const std::string& path)
    {
        return "{\"table\":\"" + path + "\"}";
    }

    static constexpr int program = 1000; ///< the number of its connection

    /** As "plan 0 restore hdc1,hdc3 hdc2 boot": began, kind of run, partitions, swap areas, boot loader. */
    static std::string Plan(const QString& words, const std::string& table)
    {
        const auto names = [&words](int n) {
            std::vector<std::string> list;
            const QStringList all = words.section(' ', n, n).split(',', Qt::SkipEmptyParts);
            for (const QString& name : all)
                list.push_back(name.toStdString());
            return list;
        };
        RunPlan plan;
        plan.table = table;
        plan.began = "2026-03-02T11:22:3" + words.section(' ', 1, 1).toStdString() + "Z";
        plan.isClone = words.section(' ', 2, 2) == "clone";
        plan.parts = names(3);
        plan.swap = names(4);
        plan.bootLoader = words.endsWith(" boot");
        return plan.Line();
    }

    /** What happens one after the other, as in the table of judgesRuns(). */
    template <class Run> static void Play(Run& run, const QStringList& events, const std::string& path)
    {
        const auto take = [&run](int connection, const std::string& line) {
            if constexpr (std::is_same_v<Run, RunState>)
                run.Take(connection, line, 1);
            else
                run.Hear(connection, QByteArray::fromStdString(line));
        };
        const auto close = [&run](int connection) {
            if constexpr (std::is_same_v<Run, RunState>)
                run.Close(connection, 2);
            else
                run.EndOf(connection);
        };
        int connection = 0;
        for (const QString& event : events) {
            if (event == "/") {
                close(connection);
            } else if (event == "gone") {
                close(program);
            } else if (event == "over") {
                take(program, RunPlan::OverLine());
            } else if (event.startsWith("plan")) {
                take(program, Plan(event, path));
            } else if (event.startsWith("mkswap")) {
                take(program, Entry(event));
            } else if (event != "!") {
                take(++connection, Greeting(event.contains("elsewhere") ? "/elsewhere" : path));
                take(connection, Entry(event));
            }
        }
    }
};
