// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

// norvo-clone-restore [-C|--drives]: what the menu entries run. Starts the program as root, or the window that ties
// drives, and says in a window what is wrong and what to do where it does not start.

#include "about.h"
#include "problems.h"

#include <KLocalizedString>

#include <QApplication>
#include <QMessageBox>
#include <QProcess>
#include <QPushButton>

#include <unistd.h>

namespace {
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

/** Tells of drives that are not tied. Whether to start the program; the window that ties them may come before. */
bool MayStart()
{
    for (QString problem = Problems::OfDrives(); !problem.isEmpty(); problem = Problems::OfDrives()) {
        QMessageBox box(QMessageBox::Warning, QStringLiteral("Norvo Clone-Restore"), problem);
        box.setTextFormat(Qt::PlainText);
        const QAbstractButton* const choose = box.addButton(i18n("C&hoose drives"), QMessageBox::AcceptRole);
        const QAbstractButton* const start = box.addButton(i18n("&Start anyway"), QMessageBox::AcceptRole);
        box.addButton(QMessageBox::Cancel)->setText(i18n("Cancel"));
        box.exec();
        if (box.clickedButton() != choose)
            return box.clickedButton() == start;
        Start({QStringLiteral("--drives")});
    }
    return true;
}
} // namespace

int main(int argc, char* argv[])
{
    if (AnswersQuestion(argc, argv, "norvo-clone-restore"))
        return 0;
    QApplication app(argc, argv);
    KLocalizedString::setApplicationDomain("norvoclonerestore");
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    const QStringList drives = {QStringLiteral("--drives")};
    if (!arguments.isEmpty() && arguments != drives && arguments != QStringList{QStringLiteral("-C")}) {
        qCritical("usage: norvo-clone-restore [-C|--drives]");
        return 64;
    }
    return arguments == drives || MayStart() ? Start(arguments) : 1;
}
