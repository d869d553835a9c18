// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "listener.h"
#include "reportchannel.h"
#include "reporter.h"
#include "reportsocket.h"
#include "runwords.h"

#include <QElapsedTimer>
#include <QLabel>
#include <QProgressBar>
#include <QSignalSpy>

#include <filesystem>
#include <fstream>

#include <sys/socket.h>

/** The window beside the program, and the socket by which it is told. */
class ReportTest : public RunWords
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        qputenv("XDG_RUNTIME_DIR", folder.path().toUtf8());
        qunsetenv("DISPLAY");
        qunsetenv("WAYLAND_DISPLAY");
    }

    void tellsByColourToo_data()
    {
        QTest::addColumn<QString>("events");
        QTest::addColumn<QString>("colour"); // of the headline
        const QString done = "restorePT hdc done 0|restore hdc1 done 1", all = "plan 0 restore hdc1|" + done;
        const std::vector<std::pair<QString, const char*>> rows
            = {{all + "|over", "#1b5e20"}, {all + " old|over", "#7a4a00"}, {all + "|gone", "#7a4a00"},
                {"plan 0 restore hdc1|restorePT hdc done 0|gone", "#a81010"}, {all, ""}, {done, ""},
                {"restorePT hdc failed 0 old", "#a81010"}};
        for (const auto& [events, colour] : rows)
            QTest::newRow(qPrintable(events)) << events << colour;
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

    void keepsTheStepInSight()
    {
        ReportWindow window;
        const std::string path = NewSet();
        Play(window, {"plan 0 clone hdc1,hdc3", "clonePT hdc done 0", "clone hdc1 done 1", "clone hdc3 begun 2"}, path);
        window.resize(230, 330);
        QTest::qWait(1100); // it shows what is new twice a second
        window.Hear(3, R"({"phase":"write","done":16000000,"total":20000000})");
        QTest::qWait(600);
        window.Hear(3, R"({"phase":"write","done":17000000,"total":20000000})");
        const auto bars = window.findChildren<QProgressBar*>();
        const auto bar = std::find_if(bars.begin(), bars.end(), [](const QProgressBar* bar) {
            return bar->accessibleName().startsWith("hdc3");
        });
        QVERIFY(bar != bars.end());
        QTRY_VERIFY((*bar)->isVisible() && (*bar)->visibleRegion().boundingRect() == (*bar)->rect());
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
