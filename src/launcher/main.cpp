// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

// norvo-clone-restore [-C]: what the menu entries run. Starts the program as root, and says in a window what is wrong
// and what to do where it does not start.

#include "problems.h"

#include <KLocalizedString>

#include <QApplication>
#include <QMessageBox>
#include <QProcess>
#include <QPushButton>

#include <unistd.h>

namespace {
/** Whether to go on although drives are not tied. */
bool MayStart()
{
    const QString problem = Problems::OfDrives();
    if (problem.isEmpty())
        return true;
    QMessageBox box(QMessageBox::Warning, QStringLiteral("Norvo Clone-Restore"), problem);
    box.setTextFormat(Qt::PlainText);
    QAbstractButton* const start = box.addButton(i18n("&Start anyway"), QMessageBox::AcceptRole);
    box.addButton(QMessageBox::Cancel);
    box.exec();
    return box.clickedButton() == start;
}

/** The exit status of the program; a window tells when it was not started. */
int Start(const QStringList& arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedChannels);
    const QStringList command = QStringList{QStringLiteral(NORVO_AS_ROOT)} + arguments;
    if (geteuid() == 0)
        process.start(command.first(), arguments);
    else
        process.start(QStringLiteral("pkexec"), command);
    // The program lasts as long as the operator wants.
    const bool started
        = process.waitForStarted() && (process.waitForFinished(-1) || process.error() != QProcess::Timedout);
    const bool crashed = process.exitStatus() == QProcess::CrashExit;
    const QString problem = Problems::OfStart(started, crashed, process.exitCode());
    if (problem.isEmpty())
        return process.exitCode();
    QMessageBox box(QMessageBox::Critical, QStringLiteral("Norvo Clone-Restore"), problem);
    box.setTextFormat(Qt::PlainText);
    box.exec();
    return 1;
}
} // namespace

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    KLocalizedString::setApplicationDomain("norvoclonerestore");
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    if (!arguments.isEmpty() && arguments != QStringList{QStringLiteral("-C")}) {
        qCritical("usage: norvo-clone-restore [-C]");
        return 64;
    }
    return MayStart() ? Start(arguments) : 1;
}
