// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

// How the output window bears a long transcript: one hundred thousand lines arrive one by one, as a command's output
// does. Beside it, in a process of its own, the same text set at once in the toolkit's plain text view. Prints time,
// growth of memory, and the longest time for which the window did not answer.

#include "restoreoutput.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTextDocument>
#include <QTextEdit>
#include <cstdio>
#include <unistd.h>

namespace {
constexpr int lineCount = 100000;

QString Line(int number)
{
    return QStringLiteral("block %1 of 100000 restored, 4096 bytes, no error").arg(number, 6);
}

double MemoryInMb()
{
    QFile file(QStringLiteral("/proc/self/statm"));
    file.open(QIODevice::ReadOnly);
    return static_cast<double>(file.readAll().split(' ').at(1).toLongLong() * getpagesize()) / 1e6;
}

/** @return the longest time that a line took to be shown, in milliseconds */
qint64 FillWindow(RestoreOutput& window)
{
    qint64 longest = 0;
    QElapsedTimer step, tenth;
    for (int i = 0; i < lineCount; ++i) {
        if (i % (lineCount / 10) == 0)
            tenth.start();
        step.start();
        window.appendOutput(Line(i));
        QApplication::processEvents();
        longest = qMax(longest, step.elapsed());
        if (i == lineCount / 10 - 1 || i == lineCount - 1)
            std::printf("        %6lld ms for the last %d lines of %d\n", static_cast<long long>(tenth.elapsed()),
                lineCount / 10, i + 1);
    }
    return longest;
}

qint64 FillPlain(QTextEdit& view)
{
    QElapsedTimer step;
    step.start();
    QStringList lines;
    for (int i = 0; i < lineCount; ++i)
        lines.append(Line(i));
    view.setPlainText(lines.join(QLatin1Char('\n')));
    view.document()->size(); // lays all of it out, which else is put off until somebody scrolls
    QApplication::processEvents();
    return step.elapsed();
}

void Measure(const QString& kind)
{
    QWidget parent;
    RestoreOutput window(&parent, "Restore Output", Qt::Window);
    QTextEdit view;
    view.setLineWrapMode(QTextEdit::NoWrap);
    view.resize(window.size());
    const bool plain = kind == QLatin1String("plain");
    (plain ? static_cast<QWidget*>(&view) : &window)->show();
    QApplication::processEvents();
    const double before = MemoryInMb();
    QElapsedTimer timer;
    timer.start();
    const qint64 longest = plain ? FillPlain(view) : FillWindow(window);
    std::printf("%-6s  %6lld ms  %6.1f MB  longest wait %lld ms\n", qPrintable(kind),
        static_cast<long long>(timer.elapsed()), MemoryInMb() - before, static_cast<long long>(longest));
}
} // namespace

int main(int argc, char* argv[])
{
    const QApplication app(argc, argv);
    const QStringList arguments = QApplication::arguments();
    if (arguments.size() > 1) {
        Measure(arguments.at(1));
        return 0;
    }
    std::printf("%d lines, %.1f MB of text\n", lineCount, lineCount * 2e-6 * static_cast<double>(Line(0).size() + 1));
    std::fflush(stdout);
    for (const char* kind : {"window", "plain"})
        QProcess::execute(arguments.first(), {QString::fromLatin1(kind)});
    return 0;
}
