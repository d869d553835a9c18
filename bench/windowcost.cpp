// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

// windowcost WHAT: what the windows take of the operator's time and of the processor. bench/windows runs it where
// /mnt/rev and /etc/mtab are its own. Prints on standard error: the mount table is printed on standard output.

#include "norvoclonerestore.h"
#include "reportwindow.h"
#include "restoreoutput.h"
#include "runentry.h"
#include "utility.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTextEdit>
#include <QTimer>
#include <QWindow>
#include <cstdio>
#include <functional>
#include <memory>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

// There is no REV drive: the kernel is willing, and /mnt/rev is a folder.
extern "C" int mount(const char*, const char*, const char*, unsigned long, const void*) noexcept
{
    return 0;
}

extern "C" int umount(const char*) noexcept
{
    return 0;
}

namespace {
constexpr int lineCount = 100000, serialCount = 2000, dateCount = 50, entryCount = 10000, waitingSeconds = 20;

/** The longest time for which the event loop did not come to a timer that is always due. */
class Pauses
{
public:
    Pauses()
    {
        QObject::connect(&timer, &QTimer::timeout, &timer, [this] {
            longest = qMax(longest, clock.restart());
        });
        timer.setTimerType(Qt::PreciseTimer);
        timer.start(1);
        clock.start();
    }

    qint64 Longest()
    {
        return qMax(longest, clock.elapsed());
    }

private:
    QTimer timer;
    QElapsedTimer clock;
    qint64 longest = 0;
};

double MemoryInMb()
{
    QFile file(QStringLiteral("/proc/self/statm"));
    file.open(QIODevice::ReadOnly);
    return static_cast<double>(file.readAll().split(' ').at(1).toLongLong() * getpagesize()) / 1e6;
}

double ProcessorSeconds()
{
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec)
        + static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

void Wait(const std::function<bool()>& isReached)
{
    while (!isReached())
        QApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
}

void WaitSeconds(int seconds)
{
    bool isOver = false;
    QTimer::singleShot(seconds * 1000, [&isOver] {
        isOver = true;
    });
    Wait([&isOver] {
        return isOver;
    });
}

/** Does it, waits until `window` gives something to look at, and prints how long that took. */
template <class Window> void Time(const char* what, const std::function<void()>& action, const Window& window)
{
    Pauses pauses;
    QElapsedTimer timer;
    timer.start();
    action();
    Wait([&window] {
        const QWidget* shown = window()->window();
        return shown->isVisible() && shown->windowHandle() != nullptr && shown->windowHandle()->isExposed();
    });
    QApplication::processEvents();
    std::fprintf(stderr, "%-46s %6lld ms  longest freeze %lld ms\n", what, static_cast<long long>(timer.elapsed()),
        static_cast<long long>(pauses.Longest()));
}

/** Stand-ins for all commands; no others are found. The imaging command does `body`. */
class Commands
{
public:
    explicit Commands(const char* body)
    {
        Add("dd", "");
        Add("mkdir", "");
        Add("df", "echo Filesystem");
        Add("norvoRestorePT", "");
        Add("norvoPartimageRestore", body);
        Add("norvoClonePT", body);
        qputenv("PATH", QFile::encodeName(dir.path()));
    }

private:
    void Add(const char* name, const char* body)
    {
        QFile file(dir.filePath(QLatin1String(name)));
        file.open(QIODevice::WriteOnly);
        file.write(QByteArray("#!/bin/bash\n") + body + '\n');
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }

    QTemporaryDir dir;
};

QByteArray Table()
{
    return "# partition table of /dev/hdc\nunit: sectors\n\n/dev/hdc1 : start=2048, size=4000000, Id=83\n";
}

void Store(int serials, int dates)
{
    for (int serial = 0; serial < serials; ++serial) {
        for (int date = 0; date < dates; ++date) {
            const QString set = QStringLiteral("/mnt/rev/SN%1/%2")
                                    .arg(serial, 6, 10, QLatin1Char('0'))
                                    .arg(20260101 + date / 25 * 100 + date % 25);
            QDir().mkpath(set);
            QFile file(set + QLatin1Char('/')
                + set.section(QLatin1Char('/'), 3).replace(QLatin1Char('/'), QLatin1Char('_'))
                + QStringLiteral("_hdc.sf"));
            file.open(QIODevice::WriteOnly);
            file.write(Table());
        }
    }
}

std::unique_ptr<NorvoCloneRestore> Program()
{
    auto window = std::make_unique<NorvoCloneRestore>(nullptr, nullptr, Qt::WindowFlags());
    window->Init(true, "");
    window->show();
    WaitSeconds(1);
    return window;
}

QWidget* Click(QWidget* window, const char* button)
{
    window->findChild<QPushButton*>(QLatin1String(button))->click();
    return window;
}

QWidget* Dialog(const std::unique_ptr<NorvoCloneRestore>& program, const char* name)
{
    return program->findChild<QWidget*>(QLatin1String(name));
}

/** A REV disk with many image sets. */
void List()
{
    Store(serialCount, dateCount);
    const auto program = Program();
    QWidget* const restore = Dialog(program, "Restore");
    auto* const serials = restore->findChild<QComboBox*>(QStringLiteral("cmbSerial"));
    auto* const dates = restore->findChild<QComboBox*>(QStringLiteral("cmbDate"));
    const auto shown = [restore] {
        return restore;
    };
    Time(
        "Restore dialog, listed",
        [&program] {
            Click(program.get(), "btnRestore");
        },
        shown);
    std::fprintf(stderr, "    %d serial numbers, %d dates\n", serials->count(), dates->count());
    Time(
        "another serial number",
        [serials] {
            serials->setCurrentIndex(serials->count() - 1);
            Q_EMIT serials->textActivated(serials->currentText());
        },
        shown);
    Time(
        "opening the box of serial numbers",
        [serials] {
            serials->showPopup();
        },
        [serials] {
            return serials->view();
        });
    serials->hidePopup();
    Time(
        "mounting again",
        [restore] {
            Click(Click(restore, "btnMount"), "btnMount");
        },
        shown);
}

/** One hundred thousand lines, one by one, as a command prints them that has something to do between. */
void LineByLine()
{
    QWidget parent;
    RestoreOutput window(&parent, "Restore Output", Qt::Window);
    window.show();
    WaitSeconds(1);
    const double before = MemoryInMb();
    Pauses pauses;
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < lineCount; ++i) {
        window.appendOutput(QStringLiteral("block %1 of 100000 restored, 4096 bytes, no error").arg(i, 6));
        QApplication::processEvents();
    }
    std::fprintf(stderr, "%-46s %6lld ms  longest freeze %lld ms, %.0f MB\n", "100,000 lines, one by one",
        static_cast<long long>(timer.elapsed()), static_cast<long long>(pauses.Longest()), MemoryInMb() - before);
}

/** The same from a command that prints as fast as it can, in a restore run. */
void AtOnce(const char* what, const char* body)
{
    const Commands commands(body);
    Store(1, 1);
    const auto program = Program();
    Click(program.get(), "btnRestore");
    const double before = MemoryInMb();
    Pauses pauses;
    QElapsedTimer timer;
    timer.start();
    QTimer watch;
    QObject::connect(&watch, &QTimer::timeout, &watch, [&] {
        auto* const box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (box == nullptr)
            return;
        watch.stop();
        std::fprintf(stderr, "%-46s %6lld ms  longest freeze %lld ms, %.0f MB\n", what,
            static_cast<long long>(timer.elapsed()), static_cast<long long>(pauses.Longest()), MemoryInMb() - before);
        QTimer::singleShot(0, box, &QDialog::accept);
    });
    watch.start(5);
    QWidget* const restore = Dialog(program, "Restore");
    Click(restore, "btnStartRestore");
    auto* const view = restore->findChild<QTextEdit*>(QStringLiteral("txtOutput"));
    std::fprintf(stderr, "    %d paragraphs\n", view->document()->blockCount());
    QWidget* const output = restore->findChild<QWidget*>(QStringLiteral("Restore Output"));
    Time(
        "closing it",
        [output] {
            Click(output, "btnClose");
        },
        [&program] {
            return program.get();
        });
}

void MountTable()
{
    QFile table(QStringLiteral("/etc/mtab"));
    table.open(QIODevice::WriteOnly);
    for (int i = 0; i < entryCount; ++i)
        table.write(QByteArray("server:/export/home/user") + QByteArray::number(i) + " /home/user"
            + QByteArray::number(i) + " nfs rw,relatime 0 0\n");
    table.close();
    QElapsedTimer timer;
    timer.start();
    MountRev();
    std::fprintf(stderr, "%-46s %6lld ms\n", "mounting, 10,000 entries", static_cast<long long>(timer.restart()));
    UmountRev();
    std::fprintf(stderr, "%-46s %6lld ms\n", "unmounting, 10,000 entries", static_cast<long long>(timer.elapsed()));
}

void Idle(const char* what)
{
    WaitSeconds(2);
    const double before = ProcessorSeconds();
    WaitSeconds(waitingSeconds);
    std::fprintf(stderr, "%-46s %6.2f %% of a processor, %.0f MB\n", what,
        (ProcessorSeconds() - before) / waitingSeconds * 100, MemoryInMb());
}

void IdleReport()
{
    Store(1, 1);
    const QByteArray path = "/mnt/rev/SN000000/20260101/SN000000_20260101_hdc.sf";
    ReportWindow window;
    RunEntry entry;
    entry.command = "norvoPartimageClone";
    entry.part = "hdc1";
    entry.began = "2026-01-01T00:00:00Z";
    entry.result = "begun";
    window.Hear(1, "{\"table\":\"" + path + "\",\"caller\":1}");
    window.Hear(1, QByteArray::fromStdString(entry.Line()));
    QTimer progress; // as often as the commands tell
    int done = 0;
    QObject::connect(&progress, &QTimer::timeout, &progress, [&window, &done] {
        window.Hear(
            1, "{\"phase\":\"write\",\"done\":" + QByteArray::number(done += 25000000) + ",\"total\":2048000000}");
    });
    progress.start(1000);
    Idle("report window, during a clone run");
}

/** @param what the name of a dialog, "main", or "Clone run" and "Restore run", which wait for a command */
void IdleProgram(const QString& what)
{
    const Commands commands("exec /bin/sleep 60");
    Store(1, 1);
    const auto program = Program();
    const QString name = what.section(QLatin1Char(' '), 0, 0);
    const auto measure = [&what] {
        Idle(qPrintable(what));
        std::_Exit(0); // in the middle of the run
    };
    if (name != QLatin1String("main"))
        Click(program.get(), qPrintable(QStringLiteral("btn") + name));
    if (what != name) {
        QTimer::singleShot(0, measure);
        for (const char* edit : {"edtSerial", "edtSerialAgain"})
            Dialog(program, "Clone")->findChild<QLineEdit*>(QLatin1String(edit))->setText(QStringLiteral("A"));
        Click(Dialog(program, qPrintable(name)), name == QLatin1String("Clone") ? "btnClone" : "btnStartRestore");
    }
    measure();
}
} // namespace

int main(int argc, char* argv[])
{
    const QApplication app(argc, argv);
    const QString what = QApplication::arguments().value(1);
    if (what == QLatin1String("list"))
        List();
    else if (what == QLatin1String("transcript"))
        LineByLine();
    else if (what == QLatin1String("flood"))
        AtOnce("100,000 lines at once",
            "exec /usr/bin/seq -f 'block %6.f of 100000 restored, 4096 bytes, no error' 100000");
    else if (what == QLatin1String("long line"))
        AtOnce("a line of 5 MB", "exec /usr/bin/head -c 5000000 /dev/zero | /usr/bin/tr '\\0' x");
    else if (what == QLatin1String("mtab"))
        MountTable();
    else if (what == QLatin1String("report"))
        IdleReport();
    else
        IdleProgram(what);
    return 0;
}
