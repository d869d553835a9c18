// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "outcome.h"
#include "room.h"
#include "runwords.h"
#include "words.h"

/** What the window beside the program makes of what it is told. */
class RunStateTest : public RunWords
{
    Q_OBJECT

    /** The verdict, then what there is to say of each step that is not done, as "NOT ...|hdc1 failed". */
    static QString Summary(const RunState& run, bool isSilent)
    {
        const auto outcome = Outcome::Of(run, isSilent);
        QStringList words = {outcome ? Words::Headline(*outcome, run.IsClone()) : ""};
        for (Step step : run.Steps()) {
            step.state = outcome ? outcome->Final(step) : step.state;
            if (step.state != Step::State::Done)
                words.append(QString::fromStdString(step.name) + ' ' + Words::State(step));
        }
        return words.join('|');
    }

private Q_SLOTS:
    void judgesRuns_data()
    {
        // Entries, and what the program says: "/" is the end of the last entry's connection, "!" a long silence.
        QTest::addColumn<QString>("events");
        QTest::addColumn<QString>("summary");
        const auto row = [](const QString& events, const QString& summary) {
            QTest::newRow(qPrintable(events)) << events << summary;
        };
        const QString clone = "plan 0 clone|clonePT hdc done 0|", table = "|restorePT hdc done 0|";
        const QString unheard = "its command was not heard of; is it installed, and the REV disk there?";
        const QString swap = "|hdc2 needs no image";
        // The program's clone run.
        row("plan 0 clone|clonePT hdc begun 0|clonePT hdc done 0", "|hdc1 waiting" + swap + "|hdc3 waiting");
        row(clone + "clone hdc1 done 1|clone hdc3 done 2|!", swap);
        row(clone + "clone hdc1 done 1|clone hdc3 done 2|clone hdc4 failed 3 an empty slot|over",
            "Image set complete: 2 of 2 images proved" + swap);
        row(clone + "clone hdc1 done 1 bad sectors|clone hdc3 done 2|over",
            "Image set complete: 2 of 2 images proved (with warnings)|hdc1 done with warnings" + swap);
        row(clone + "clone hdc1 done 1|over|clone hdc3 begun 2",
            "|hdc waiting|hdc1 waiting" + swap + "|hdc3 running"); // another one, by hand
        row(clone + "clone hdc1 done 1|clone hdc3 begun 2|/|over",
            "NOT complete: hdc3 is missing: it was ended before its work was done" + swap + "|hdc3 failed");
        row(clone + "clone hdc1 failed 1 /a b: full|clone hdc3 failed 2 full|over",
            "NOT complete: hdc1, hdc3 are missing: full|hdc1 failed" + swap + "|hdc3 failed");
        row(clone + "clone hdc3 done 1|over", "NOT complete: hdc1 is missing: " + unheard + "|hdc1 failed" + swap);
        row("plan 0 clone|clonePT hdc failed 0 unreadable|clone hdc1 done 1|clone hdc3 done 2|over",
            "NOT complete: the partition table is missing: unreadable|hdc failed" + swap);
        row("plan 0 clone|over", "NOT complete: the partition table is missing: " + unheard + "|hdc failed");
        // It is gone before.
        row("plan 0 clone|gone", "Not finished: the program ended before the partition table was begun|hdc not begun");
        row(clone + "clone hdc1 begun 1|gone", "|hdc1 running" + swap + "|hdc3 waiting"); // its command goes on
        for (const char* const end : {"gone|/", "/|gone"})
            row(clone + "clone hdc1 begun 1|" + end,
                "Not finished: the program ended while hdc1 was saved|hdc1 failed" + swap + "|hdc3 not begun");
        row("plan 0 clone|gone|clonePT hdc begun 0|clonePT hdc done 0",
            "Not finished: the program ended before hdc1 was begun|hdc1 not begun" + swap + "|hdc3 not begun");
        row(clone + "clone hdc1 done 1|clone hdc3 done 2|gone",
            "Not finished: the program ended before it said that the run was over" + swap);
        // The program's restore run.
        row("plan 0 restore hdc1,hdc3" + table + "restore hdc1 done 1|!", swap + "|hdc3 waiting");
        row("plan 0 restore hdc3" + table + "restore hdc3 done 1|!", "|hdc1 left out" + swap);
        row("plan 0 restore hdc3" + table + "restore hdc3 done 1|over",
            "Restored: 1 of 1 partition written|hdc1 left out" + swap);
        row("plan 0 restore" + table + "over",
            "Restored as chosen: no partition was to be written|hdc1 left out" + swap + "|hdc3 left out");
        row("plan 0 restore hdc1,hdc3  boot" + table + "restore hdc1 done 1|restore hdc3 done 1|over",
            "NOT restored: the boot loader: " + unheard + swap + "|hdc failed");
        row("plan 0 restore hdc1,hdc3  boot" + table
                + "restore hdc1 failed 1 damaged|restore hdc3 done 1|grub hdc done 2|over",
            "NOT restored: hdc1: damaged|hdc1 failed" + swap);
        const QString swapToo = "plan 0 restore hdc1 hdc2" + table + "restore hdc1 done 1|mkswap hdc2 ";
        row(swapToo + "begun 2|gone",
            "Not finished: the program ended while hdc2 was written|hdc2 failed|hdc3 left out");
        row(swapToo + "failed 2 too small|over", "NOT restored: hdc2: too small|hdc2 failed|hdc3 left out");
        row(swapToo + "done 2|over", "Restored: 1 of 1 partition written|hdc3 left out");
        // Announced late, twice, and beside what is done by hand.
        row("restorePT hdc done 1|plan 0 restore hdc1|restore hdc1 done 2|over",
            "Restored: 1 of 1 partition written" + swap + "|hdc3 left out");
        const QString plan1 = "plan 0 restore hdc1" + table;
        for (const QString& before :
            {QString("restore hdc1 done 1|restorePT hdc done 1"), plan1 + "restore hdc1 done 1|over"})
            row(before + "|plan 2 restore hdc1|over",
                "NOT restored: the partition table, hdc1: " + unheard + "|hdc failed|hdc1 failed" + swap
                    + "|hdc3 left out");
        row(plan1 + "clonePT hdc begun 1|restore hdc1 done 1 elsewhere|over",
            "NOT restored: hdc1: " + unheard + "|hdc1 failed" + swap + "|hdc3 left out");
        // By hand.
        row("clonePT nvme0n1 begun 0", "|nvme0n1 running");
        row("restore nvme0n1p3 done 0|!",
            "By hand, done: nvme0n1p3|nvme0n1 left out|hdc1 not begun" + swap + "|hdc3 not begun");
        const QString all = "clonePT hdc done 0|clone hdc1 done 1|clone hdc3 done 2";
        row(all, swap);
        row(all + "|!", "By hand, done: the partition table, hdc1, hdc3" + swap);
        row(all + "|restorePT hdc begun 3", "|hdc running|hdc1 waiting" + swap + "|hdc3 waiting");
        row("clonePT hdc done 0|clone hdc1 failed 1 full|clone hdc3 done 1|!",
            "By hand, failed: hdc1: full|hdc1 failed" + swap);
    }

    void judgesRuns()
    {
        QFETCH(QString, events);
        QFETCH(QString, summary);
        RunState run;
        const QStringList list = events.split('|');
        Play(run, list, NewSet());
        QCOMPARE(Summary(run, list.last() == "!"), summary);
    }

    /** What ended before there was a connection stands in the run record, beside runs of before. */
    void looksUpWhatNobodyHeard()
    {
        const std::string before
            = Entry("clonePT hdc begun 0") + Entry("clone hdc1 done 1") + Entry("clone hdc3 done 1");
        const std::string head = Entry("clonePT hdc begun 2"), done = Entry("clonePT hdc done 2");
        RunState run;
        run.Take(1, Greeting(NewSet(before)), 1); // the medium is full: this run is not in the record
        run.Take(1, head, 1);
        run.LookUp();
        QCOMPARE(Summary(run, false), QString("|hdc running"));
        NewSet(before + head + done + Entry("clone hdc1 done 3") + Entry("clone hdc3 begun 4"));
        run.LookUp();
        QCOMPARE(Summary(run, false), QString("|hdc2 needs no image|hdc3 running"));
        run.Close(1, 2); // of the command that the record knows more of
        run.Take(2, Greeting(run.TablePath()), 1);
        run.Take(2, Entry("clone hdc3 begun 4"), 1);
        run.Close(2, 2);
        QCOMPARE(Summary(run, true),
            QString("By hand, failed: hdc3: it was ended before its work was done|hdc2 needs no image|hdc3 failed"));
        NewSet(before + head + done + Entry("clone hdc1 done 3") + Entry("clone hdc3 begun 4")
            + Entry("clone hdc3 done 4"));
        run.LookUp();
        QCOMPARE(Summary(run, true), QString("By hand, done: the partition table, hdc1, hdc3|hdc2 needs no image"));
    }

    /** A report that is opened in the middle of the program's restore run, after others. */
    void looksUpARestoreThatIsAnnounced()
    {
        const std::string before
            = Entry("restorePT hdc begun 0") + Entry("restorePT hdc done 0") + Entry("restore hdc1 done 1");
        const std::string path = NewSet(before);
        RunState run;
        run.Take(program, Plan("plan 2 restore hdc1,hdc3", path), 1);
        run.LookUp();
        QCOMPARE(Summary(run, false), QString("|hdc waiting|hdc1 waiting|hdc2 needs no image|hdc3 waiting"));
        NewSet(before + Entry("restorePT hdc begun 2") + Entry("restorePT hdc done 2") + Entry("restore hdc1 done 3"));
        run.LookUp();
        QCOMPARE(Summary(run, false), QString("|hdc2 needs no image|hdc3 waiting"));
    }

    void writesTheDayForPeople()
    {
        QLocale::setDefault(QLocale(QLocale::German));
        QStringList titles;
        for (const std::string day : {"20260302", "20260399"}) {
            RunState run;
            run.Take(program, Plan("plan 0 restore", "/mnt/rev/A 12/" + day + "/A 12_1_hdc.sf"), 1);
            titles += Words::Title(run);
        }
        QLocale::setDefault(QLocale::c());
        QCOMPARE(titles, QStringList({"Restoring A 12, Montag, 2. März 2026", "Restoring A 12, 20260399"}));
    }

    void tellsOfTheRoom()
    {
        RunState run;
        run.Take(1, Greeting(NewSet()), 0);
        run.Take(1, Entry("clone hdc1 begun 1"), 0);
        run.Take(1, R"({"phase":"write","done":4000000,"total":20000000})", 1000);
        QVERIFY(!EstimateNeed(run, 4000000)); // says nothing yet
        run.Take(1, R"({"phase":"write","done":16000000,"total":20000000})", 3000);
        // Half of the 4 MB to come, and half of hdc3, which is as full.
        QCOMPARE(*EstimateNeed(run, 8000000) / 1000, uint64_t{12000});
        QCOMPARE(Words::Details(run.Steps()[1], true), QString("saving, 6.0 MB/s, 0:01 left"));
        RunEntry saved = RunEntry::Parse(Entry("clone hdc1 done 1")).front();
        saved.imageBytes = 5000000;
        run.Take(1, saved.Line(), 4000);
        run.Take(2, Entry("clone hdc3 begun 2"), 4000);
        QVERIFY(!EstimateNeed(run, 0)); // it is not known yet how full hdc3 is
        run.Take(2, R"({"phase":"write","done":0,"total":12000000})", 5000);
        QCOMPARE(*EstimateNeed(run, 0), uint64_t{3000000}); // it shrinks as hdc1 did
        QVERIFY((Room{0, 3000000}.IsTooSmall()));           // full is not unknown
        QVERIFY(!(Room{{}, 3000000}.IsTooSmall()) && !(Room{0, {}}.IsTooSmall()) && !(Room{0, 0}.IsTooSmall()));
    }
};

QTEST_MAIN(RunStateTest)
#include "runstatetest.moc"
