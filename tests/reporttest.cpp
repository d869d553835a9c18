// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "diskimages.h"
#include "listener.h"
#include "reporter.h"
#include "reportsocket.h"
#include "reportwindow.h"
#include "words.h"

#include <QElapsedTimer>
#include <QLabel>
#include <QSignalSpy>

#include <filesystem>

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
                {"restore", "norvoPartimageRestore"}, {"grub", "norvoRestoreGrub"}};
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
        return "{\"table\":\"" + path + "\",\"caller\":1}";
    }

    /** The verdict, then what there is to say of each step that is not done, as "NOT ...|hdc1 failed". */
    static QString Summary(const RunState& run, bool isOver)
    {
        const auto outcome = run.Judge(isOver);
        QStringList words = {outcome ? Words::Headline(*outcome, run.IsClone())
                : run.IsNearEnd()    ? "near its end"
                                     : ""};
        for (const Step& step : run.Steps()) {
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
        QTest::addColumn<QString>("events"); // entries; "/" is the end of that connection, "!" of the run
        QTest::addColumn<QString>("summary");
        const auto row = [](const char* events, const char* summary) {
            QTest::newRow(events) << events << summary;
        };
        row("clonePT hdc begun 0", "|hdc running");
        row("clonePT nvme0n1 begun 0", "|nvme0n1 running");
        row("restore nvme0n1p3 begun 0",
            "|nvme0n1 left out|hdc1 left out|hdc2 needs no image|hdc3 left out|nvme0n1p3 running");
        row("clonePT hdc begun 0|clonePT hdc done 0", "|hdc1 waiting|hdc2 needs no image|hdc3 waiting");
        row("clonePT hdc done 0|clone hdc1 done 1|clone hdc3 done 2",
            "Image set complete: 2 of 2 images proved|hdc2 needs no image");
        row("clonePT hdc done 0|clone hdc1 done 1|clone hdc3 done 2|clone hdc4 failed 3 an empty slot",
            "Image set complete: 2 of 2 images proved|hdc2 needs no image");
        row("clonePT hdc done 0|clone hdc1 done 1 bad sectors|clone hdc3 done 2",
            "Image set complete: 2 of 2 images proved (with warnings)|hdc1 done with warnings|hdc2 needs no image");
        row("clonePT hdc done 0|clone hdc1 done 1|clone hdc3 begun 2", "|hdc2 needs no image|hdc3 running");
        row("clonePT hdc done 0|clone hdc1 done 1|clone hdc3 begun 2|/",
            "NOT complete: hdc3 is missing: it was ended before its work was done|hdc2 needs no image|hdc3 failed");
        row("clonePT hdc done 0|clone hdc1 failed 1 /a b: full|clone hdc3 failed 2 full",
            "NOT complete: hdc1, hdc3 are missing: full|hdc1 failed|hdc2 needs no image|hdc3 failed");
        row("clonePT hdc done 0|clone hdc3 done 1|!",
            "NOT complete: hdc1 is missing: its command was not heard of; is it installed?|hdc1 waiting|hdc2 needs no "
            "image");
        row("clonePT hdc done 0|clone hdc1 failed 1 full|clone hdc3 failed 2 unreadable",
            "NOT complete: hdc1, hdc3 are missing|hdc1 failed|hdc2 needs no image|hdc3 failed");
        row("clonePT hdc failed 0 unreadable|clone hdc1 done 1|clone hdc3 done 2",
            "NOT complete: the partition table is missing: unreadable|hdc failed|hdc2 needs no image");
        row("clonePT hdc done 0|clone hdc1 failed 1 full|clone hdc3 done 1|clone hdc1 done 2",
            "Image set complete: 2 of 2 images proved|hdc2 needs no image");
        row("clonePT hdc done 0|clone hdc1 done 1|clone hdc3 done 2|clonePT hdc begun 3", "|hdc running");
        row("clonePT hdc done 0|clone hdc1 done 1|clone hdc3 done 2|restore hdc1 begun 3",
            "|hdc left out|hdc1 running|hdc2 needs no image|hdc3 waiting");
        row("restorePT hdc done 0|restore hdc1 done 1", "|hdc2 needs no image|hdc3 waiting");
        row("restorePT hdc done 0|restore hdc3 done 1", "near its end|hdc1 left out|hdc2 needs no image");
        row("restorePT hdc done 0|restore hdc3 done 1|!",
            "Restored: 1 of 1 partition written|hdc1 left out|hdc2 needs no image");
        row("restorePT hdc done 0|restore hdc1 failed 1 damaged|restore hdc3 done 1|grub hdc done 2",
            "NOT restored: hdc1: damaged|hdc1 failed|hdc2 needs no image");
        row("clonePT hdc done 0|clone hdc1 done 1|clone hdc3 done 2|restorePT hdc begun 3",
            "|hdc running|hdc1 waiting|hdc2 needs no image|hdc3 waiting");
    }

    void judgesRuns()
    {
        QFETCH(QString, events);
        QFETCH(QString, summary);
        const std::string path = NewSet();
        RunState run;
        int connection = 0;
        const QStringList list = events.split('|');
        for (const QString& event : list) {
            if (event == "/") {
                run.Close(connection, 2);
            } else if (event != "!") {
                run.Take(++connection, Greeting(path), 1);
                run.Take(connection, Entry(event), 1);
            }
        }
        QCOMPARE(Summary(run, list.last() == "!"), summary);
    }

    /** What ended before there was a connection stands in the run record, beside runs of before. */
    void looksUpWhatNobodyHeard()
    {
        const std::string before
            = Entry("clonePT hdc begun 0") + Entry("clone hdc1 done 1") + Entry("clone hdc3 done 1");
        const std::string head = Entry("clonePT hdc begun 2"), done = Entry("clonePT hdc done 2");
        RunState run;
        run.Take(-1, Greeting(NewSet(before)), 1); // the medium is full: this run is not in the record
        run.Take(-1, head, 1);
        run.LookUp();
        QCOMPARE(Summary(run, false), QString("|hdc running"));
        NewSet(before + head + done + Entry("clone hdc1 done 3") + Entry("clone hdc3 begun 4"));
        run.LookUp();
        QCOMPARE(Summary(run, false), QString("|hdc2 needs no image|hdc3 running"));
    }

    void tellsOfTheRoom()
    {
        RunState run;
        run.Take(1, Greeting(NewSet()), 0);
        run.Take(1, Entry("clone hdc1 begun 1"), 0);
        run.Take(1, R"({"phase":"write","done":4000000,"total":20000000})", 1000);
        QCOMPARE(EstimateNeed(run, 4000000), uint64_t{0}); // says nothing yet
        run.Take(1, R"({"phase":"write","done":16000000,"total":20000000})", 3000);
        // Half of the 4 MB to come, and half of hdc3, which is as full.
        QCOMPARE(EstimateNeed(run, 8000000) / 1000, uint64_t{12000});
        QCOMPARE(Words::Details(run.Steps()[1], true), QString("saving, 6.0 MB/s, 0:01 left"));
        RunEntry saved = RunEntry::Parse(Entry("clone hdc1 done 1")).front();
        saved.imageBytes = 5000000;
        run.Take(1, saved.Line(), 4000);
        run.Take(2, Entry("clone hdc3 begun 2"), 4000);
        QCOMPARE(EstimateNeed(run, 0), uint64_t{0}); // it is not known yet how full hdc3 is
        run.Take(2, R"({"phase":"write","done":0,"total":12000000})", 5000);
        QCOMPARE(EstimateNeed(run, 0), uint64_t{3000000}); // it shrinks as hdc1 did
    }

    void hearsCommandsAmongGarbage()
    {
        Listener listener, second;
        QVERIFY(listener.Start());
        QVERIFY(!second.Start());
        ReportWindow window;
        connect(&listener, &Listener::said, &window, &ReportWindow::Hear);
        connect(&listener, &Listener::closed, &window, &ReportWindow::EndOf);
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
        QTRY_COMPARE(window.windowTitle(), QString("NOT restored: the partition table: it is <b>full</b>"));
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
