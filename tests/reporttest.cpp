// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "diskimages.h"
#include "listener.h"
#include "reportchannel.h"
#include "reporter.h"
#include "reportsocket.h"
#include "reportwindow.h"
#include "runplan.h"
#include "words.h"

#include <QElapsedTimer>
#include <QLabel>
#include <QSignalSpy>

#include <filesystem>
#include <fstream>

#include <sys/socket.h>

/** What the window beside the program makes of what the commands tell it. */
class ReportTest : public QObject
{
    Q_OBJECT

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
    void initTestCase()
    {
        qputenv("XDG_RUNTIME_DIR", folder.path().toUtf8());
        qunsetenv("DISPLAY");
        qunsetenv("WAYLAND_DISPLAY");
    }

    void judgesRuns_data()
    {
        // Entries, and what the program says: "/" is the end of the last entry's connection, "!" a long silence.
        QTest::addColumn<QString>("events");
        QTest::addColumn<QString>("summary");
        const auto row = [](const char* events, const QString& summary) {
            QTest::newRow(events) << events << summary;
        };
        const auto also = [](const QString& summary) {
            return summary + "|hdc2 needs no image";
        };
        // The program's clone run.
        row("plan 0 clone", "|hdc waiting");
        row("plan 0 clone|clonePT hdc begun 0|clonePT hdc done 0", "|hdc1 waiting|hdc2 needs no image|hdc3 waiting");
        row("plan 0 clone|clonePT hdc done 0|clone hdc1 done 1|clone hdc3 done 2|!", also(""));
        row("plan 0 clone|clonePT hdc done 0|clone hdc1 done 1|clone hdc3 done 2|over",
            also("Image set complete: 2 of 2 images proved"));
        row("plan 0 clone|clonePT hdc done 0|clone hdc1 done 1|clone hdc3 done 2|clone hdc4 failed 3 an empty "
            "slot|over",
            also("Image set complete: 2 of 2 images proved"));
        row("plan 0 clone|clonePT hdc done 0|clone hdc1 done 1 bad sectors|clone hdc3 done 2|over",
            "Image set complete: 2 of 2 images proved (with warnings)|hdc1 done with warnings|hdc2 needs no image");
        row("plan 0 clone|clonePT hdc done 0|clone hdc1 done 1|over|clone hdc3 begun 2",
            "|hdc waiting|hdc1 waiting|hdc2 needs no image|hdc3 running"); // another one, by hand
        row("plan 0 clone|clonePT hdc done 0|clone hdc1 done 1|clone hdc3 begun 2|/|over",
            "NOT complete: hdc3 is missing: it was ended before its work was done|hdc2 needs no image|hdc3 failed");
        row("plan 0 clone|clonePT hdc done 0|clone hdc1 failed 1 /a b: full|clone hdc3 failed 2 full|over",
            "NOT complete: hdc1, hdc3 are missing: full|hdc1 failed|hdc2 needs no image|hdc3 failed");
        row("plan 0 clone|clonePT hdc done 0|clone hdc3 done 1|over",
            "NOT complete: hdc1 is missing: its command was not heard of; is it installed?|hdc1 failed|hdc2 needs no "
            "image");
        row("plan 0 clone|clonePT hdc failed 0 unreadable|clone hdc1 done 1|clone hdc3 done 2|over",
            "NOT complete: the partition table is missing: unreadable|hdc failed|hdc2 needs no image");
        row("plan 0 clone|over",
            "NOT complete: the partition table is missing: its command was not heard of; is it "
            "installed?|hdc failed");
        // It is gone before.
        row("plan 0 clone|gone", "Not finished: the program ended before the partition table was begun|hdc not begun");
        row("plan 0 clone|clonePT hdc done 0|clone hdc1 begun 1|gone", // its command goes on
            "|hdc1 running|hdc2 needs no image|hdc3 waiting");
        row("plan 0 clone|clonePT hdc done 0|clone hdc1 begun 1|gone|/",
            "Not finished: the program ended while hdc1 was saved|hdc1 failed|hdc2 needs no image|hdc3 not begun");
        row("plan 0 clone|clonePT hdc done 0|clone hdc1 begun 1|/|gone",
            "Not finished: the program ended while hdc1 was saved|hdc1 failed|hdc2 needs no image|hdc3 not begun");
        row("plan 0 clone|gone|clonePT hdc begun 0|clonePT hdc done 0",
            "Not finished: the program ended before hdc1 was begun|hdc1 not begun|hdc2 needs no image|hdc3 not begun");
        row("plan 0 clone|clonePT hdc done 0|clone hdc1 done 1|clone hdc3 done 2|gone",
            also("Not finished: the program ended before it said that the run was over"));
        row("plan 0 restore hdc1,hdc3|restorePT hdc done 0|restore hdc1 begun 1|gone|/",
            "Not finished: the program ended while hdc1 was written|hdc1 failed|hdc2 needs no image|hdc3 not begun");
        // The program's restore run.
        row("plan 0 restore hdc1,hdc3|restorePT hdc done 0|restore hdc1 done 1|!", "|hdc2 needs no image|hdc3 waiting");
        row("plan 0 restore hdc3|restorePT hdc done 0|restore hdc3 done 1|!", "|hdc1 left out|hdc2 needs no image");
        row("plan 0 restore hdc3|restorePT hdc done 0|restore hdc3 done 1|over",
            "Restored: 1 of 1 partition written|hdc1 left out|hdc2 needs no image");
        row("plan 0 restore|restorePT hdc begun 0", "|hdc running|hdc1 left out|hdc2 needs no image|hdc3 left out");
        row("plan 0 restore|restorePT hdc done 0|over",
            "Restored as chosen: no partition was to be written|hdc1 left out|hdc2 needs no image|hdc3 left out");
        row("plan 0 restore hdc1,hdc3  boot|restorePT hdc done 0|restore hdc1 done 1|restore hdc3 done 1|over",
            "NOT restored: the boot loader: its command was not heard of; is it installed?|hdc2 needs no image|hdc "
            "failed");
        row("plan 0 restore hdc1,hdc3  boot|restorePT hdc done 0|restore hdc1 failed 1 damaged|restore hdc3 done 1|"
            "grub hdc done 2|over",
            "NOT restored: hdc1: damaged|hdc1 failed|hdc2 needs no image");
        row("plan 0 restore hdc1 hdc2|restorePT hdc done 0|restore hdc1 done 1|mkswap hdc2 begun 2",
            "|hdc2 running|hdc3 left out");
        row("plan 0 restore hdc1 hdc2|restorePT hdc done 0|restore hdc1 done 1|mkswap hdc2 begun 2|gone",
            "Not finished: the program ended while hdc2 was written|hdc2 failed|hdc3 left out");
        row("plan 0 restore hdc1 hdc2|restorePT hdc done 0|restore hdc1 done 1|mkswap hdc2 failed 2 too small|over",
            "NOT restored: hdc2: too small|hdc2 failed|hdc3 left out");
        row("plan 0 restore hdc1 hdc2|restorePT hdc done 0|restore hdc1 done 1|mkswap hdc2 done 2|over",
            "Restored: 1 of 1 partition written|hdc3 left out");
        // Announced late, twice, and beside what is done by hand.
        row("restorePT hdc done 1|plan 0 restore hdc1|restore hdc1 done 2|over",
            "Restored: 1 of 1 partition written|hdc2 needs no image|hdc3 left out");
        row("restore hdc1 done 1|restorePT hdc done 1|plan 2 restore hdc1|over",
            "NOT restored: the partition table, hdc1: its command was not heard of; is it installed?|hdc failed|hdc1 "
            "failed|hdc2 needs no image|hdc3 left out");
        row("plan 0 restore hdc1|restorePT hdc done 0|restore hdc1 done 1|over|plan 2 restore hdc1|over",
            "NOT restored: the partition table, hdc1: its command was not heard of; is it installed?|hdc failed|hdc1 "
            "failed|hdc2 needs no image|hdc3 left out");
        row("plan 0 restore hdc1|restorePT hdc done 0|clonePT hdc begun 1|restore hdc1 done 1 elsewhere|over",
            "NOT restored: hdc1: its command was not heard of; is it installed?|hdc1 failed|hdc2 needs no image|hdc3 "
            "left "
            "out");
        // By hand.
        row("clonePT nvme0n1 begun 0", "|nvme0n1 running");
        row("restore nvme0n1p3 done 0|!",
            "By hand, done: nvme0n1p3|nvme0n1 left out|hdc1 not begun|hdc2 needs no image|hdc3 not begun");
        row("clonePT hdc done 0|clone hdc1 done 1|clone hdc3 done 2", also(""));
        row("clonePT hdc done 0|clone hdc1 done 1|clone hdc3 done 2|!",
            also("By hand, done: the partition table, hdc1, hdc3"));
        row("restorePT hdc done 0|restore hdc1 done 1|!",
            "By hand, done: the partition table, hdc1|hdc2 needs no image|hdc3 not begun");
        row("clonePT hdc done 0|clone hdc1 failed 1 full|clone hdc3 done 1|!",
            "By hand, failed: hdc1: full|hdc1 failed|hdc2 needs no image");
        row("clonePT hdc done 0|clone hdc1 done 1|clone hdc3 done 2|restorePT hdc begun 3",
            "|hdc running|hdc1 waiting|hdc2 needs no image|hdc3 waiting");
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

    void tellsByColourToo_data()
    {
        QTest::addColumn<QString>("events");
        QTest::addColumn<QString>("colour"); // of the headline
        const QString all = "plan 0 restore hdc1|restorePT hdc done 0|restore hdc1 done 1";
        QTest::newRow("over") << all + "|over"
                              << "#1b5e20";
        QTest::newRow("with warnings") << all + " old|over"
                                       << "#7a4a00";
        QTest::newRow("gone at the end") << all + "|gone"
                                         << "#7a4a00";
        QTest::newRow("gone in the middle") << all.left(all.lastIndexOf('|')) + "|gone"
                                            << "#a81010";
        QTest::newRow("silent") << all << "";
        QTest::newRow("by hand") << all.mid(all.indexOf('|') + 1) << "";
        QTest::newRow("by hand, failed") << "restorePT hdc failed 0 old"
                                         << "#a81010";
    }

    void tellsByColourToo()
    {
        QFETCH(QString, events);
        QFETCH(QString, colour);
        ReportWindow window;
        const auto* const headline = window.findChild<QLabel*>();
        QVERIFY(!window.windowIcon().isNull());
        const std::string path = NewSet();
        Play(window, events.split('|'), path);
        window.Settle();
        const bool isByHand = !events.contains("plan");
        QTRY_VERIFY_WITH_TIMEOUT(!isByHand || headline->text().startsWith("By hand"), 8000);
        if (!isByHand && colour.isEmpty())
            QTest::qWait(5000); // longer than the silence after which what was done by hand is summed up
        QVERIFY(window.isVisible());
        QCOMPARE(headline->autoFillBackground() ? headline->palette().color(QPalette::Window).name() : "", colour);
    }

    /** The end of the run is said on another connection than the last words of its commands: both wait to be heard. */
    void hearsAllBeforeItJudges()
    {
        Listener listener;
        QVERIFY(listener.Start());
        ReportWindow window;
        connect(&listener, &Listener::said, &window, &ReportWindow::Hear);
        connect(&listener, &Listener::closed, &window, &ReportWindow::EndOf);
        connect(&listener, &Listener::quiet, &window, &ReportWindow::Settle);
        QStringList titles;
        connect(&window, &QWidget::windowTitleChanged, [&titles](const QString& title) {
            titles.append(title.section(' ', 0, 0));
        });
        const std::string path = NewSet();
        ReportChannel itself;
        itself.Tell(Plan("plan 0 restore hdc1,hdc3", path));
        for (const char* entry : {"restorePT hdc done 0", "restore hdc1 done 1", "restore hdc3 done 2"}) {
            ReportChannel command;
            command.Tell(Greeting(path) + "\n" + Entry(entry));
            if (entry[7] == 'P') // the others wait together
                QTest::qWait(700);
        }
        itself.Tell(RunPlan::OverLine());
        QTest::qWait(700);
        QCOMPARE(titles, QStringList({"Restoring", "Restored:"}));
    }

    void writesTheDayForPeople_data()
    {
        QTest::addColumn<QString>("day");
        QTest::addColumn<QString>("title");
        QTest::newRow("day") << "20260302"
                             << "Restoring A 12, Montag, 2. März 2026";
        QTest::newRow("no day") << "20260399"
                                << "Restoring A 12, 20260399";
    }

    void writesTheDayForPeople()
    {
        QFETCH(QString, day);
        QLocale::setDefault(QLocale(QLocale::German));
        RunState run;
        run.Take(program, Plan("plan 0 restore", "/mnt/rev/A 12/" + day.toStdString() + "/A 12_1_hdc.sf"), 1);
        const QString title = Words::Title(run);
        QLocale::setDefault(QLocale::c());
        QTEST(title, "title");
    }

    void tellsOfAFullDisk()
    {
        QTemporaryDir full(Scratch());
        Run({"mount", "-n", "-t", "tmpfs", "-o", "size=64k", "tmpfs", full.path().toStdString()});
        const std::string table = full.path().toStdString() + "/A_1_hdc.sf";
        std::filesystem::copy(NewSet(), table);
        std::ofstream(full.path().toStdString() + "/more") << std::string(1 << 17, 'x');
        ReportWindow window;
        window.Hear(program, QByteArray::fromStdString(Plan("plan 0 clone", table)));
        window.Hear(1, QByteArray::fromStdString(Greeting(table)));
        window.Hear(1, QByteArray::fromStdString(Entry("clone hdc1 begun 1")));
        window.Hear(1, R"({"phase":"write","done":16000000,"total":20000000})");
        QTest::qWait(2500); // it looks every other second
        QStringList texts;
        for (const QLabel* label : window.findChildren<QLabel*>())
            texts.append(label->accessibleName());
        Run({"umount", "-n", full.path().toStdString()});
        QVERIFY2(texts.contains("Room left on the REV disk: 0 bytes"), qPrintable(texts.join('|')));
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

    void hearsCommandsAmongGarbage()
    {
        Listener listener, second;
        QVERIFY(listener.Start());
        QVERIFY(!second.Start());
        ReportWindow window;
        connect(&listener, &Listener::said, &window, &ReportWindow::Hear);
        connect(&listener, &Listener::closed, &window, &ReportWindow::EndOf);
        connect(&listener, &Listener::quiet, &window, &ReportWindow::Settle);
        QSignalSpy closed(&listener, &Listener::closed);
        for (const std::string& garbage :
            {std::string("\xff\0{}[]\n{\"command\":7}\n{\"phase\":{}}\n{\"table\":3}\n", 42),
                std::string(3U << 20, 'x'), std::string("{\"done\":1e99}")}) {
            const Descriptor peer(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0));
            const sockaddr_un address = ReportSocket::Address(ReportSocket::Path());
            QCOMPARE(::connect(peer.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
            size_t sent = 0;
            while (sent < garbage.size()) {
                const ssize_t count = send(peer.Get(), garbage.data() + sent, garbage.size() - sent, MSG_NOSIGNAL);
                if (count < 0 && errno != EAGAIN)
                    break; // it listens no more
                sent += count > 0 ? static_cast<size_t>(count) : 0;
                QCoreApplication::processEvents();
            }
            QCOMPARE(sent<garbage.size(), garbage.size()> 1000); // no command sends such a line
        }
        QTRY_COMPARE(closed.count(), 3);
        QVERIFY(!window.isVisible());
        Reporter reporter;
        reporter.Begin(NewSet(), Entry("restorePT hdc begun 0"));
        QTRY_VERIFY(window.isVisible());
        reporter.End(Entry("restorePT hdc failed 0 it is <b>full</b>"));
        reporter = Reporter();
        QTRY_COMPARE(closed.count(), 4);
        QTRY_VERIFY(window.findChild<QLabel*>() != nullptr && window.windowTitle().startsWith("Restoring"));
        const QList<QLabel*> labels = window.findChildren<QLabel*>();
        QVERIFY(std::any_of(labels.begin(), labels.end(), [](const QLabel* label) {
            return label->accessibleName() == "Hard disk: A <b>disk</b>, serial number A7, 1.5 kB"
                && label->isVisible();
        }));
        QTest::keyClick(&window, Qt::Key_Escape);
        QVERIFY(!window.isVisible());
        Reporter last;
        last.Begin(NewSet(), Entry("grub hdc begun 1"));
        last.End(Entry("grub hdc done 1"));
        QTRY_COMPARE_WITH_TIMEOUT(
            window.windowTitle(), QString("By hand, failed: the partition table: it is <b>full</b>"), 10000);
        QVERIFY(window.isVisible());
    }

    /** It listens and reads nothing: the command goes on, and how it began and ended can be read afterwards. */
    void isNotHeldUpByAListenerThatHangs()
    {
        const std::string path = ReportSocket::Path();
        unlink(path.c_str());
        const Descriptor hanging(socket(AF_UNIX, SOCK_STREAM, 0));
        const sockaddr_un address = ReportSocket::Address(path);
        QCOMPARE(bind(hanging.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        QCOMPARE(listen(hanging.Get(), 1), 0);
        QElapsedTimer clock;
        clock.start();
        {
            Reporter reporter;
            reporter.Begin("/a_hdc.sf", Entry("clone hdc1 begun 1"));
            for (uint64_t done = 0; done < 100000; ++done)
                reporter.Progress(done, 100000);
            reporter.End(Entry("clone hdc1 failed 1 " + QString(20000, 'x')));
        }
        QVERIFY(clock.elapsed() < 5000);
        const Descriptor peer(accept(hanging.Get(), nullptr, nullptr));
        std::string heard;
        char buffer[4096];
        for (ssize_t count = 0; (count = read(peer.Get(), buffer, sizeof buffer)) > 0;)
            heard.append(buffer, count);
        const std::vector<RunEntry> entries = RunEntry::Parse(heard);
        QCOMPARE(entries.size(), size_t{2});
        QCOMPARE(entries.back().reason.size(), size_t{20000});
    }

    void trustsNoFolderThatOthersCanOpen()
    {
        const std::string own = std::filesystem::path(ReportSocket::Path()).parent_path();
        QVERIFY(!own.empty());
        for (const char* mode : {"755", "700"}) {
            Run({"chmod", mode, own});
            QCOMPARE(ReportSocket::Path("/nowhere").empty(), std::string(mode) == "755");
        }
        const QTemporaryDir others(Scratch());
        Run({"chmod", "777", others.path().toStdString()});
        qputenv("XDG_RUNTIME_DIR", others.path().toUtf8());
        QVERIFY(ReportSocket::Path("/nowhere").empty());
    }
};

QTEST_MAIN(ReportTest)
#include "reporttest.moc"
