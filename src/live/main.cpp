// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

// norvo-session [-C]: what the operator has on the screen of a PC that was started from the stick. The program comes
// first; when it has ended, a window asks what next.

#include "about.h"
#include "sessionwindow.h"

#include <KLocalizedString>

#include <QApplication>
#include <QFileInfo>
#include <QMessageBox>

int main(int argc, char* argv[])
{
    if (AnswersQuestion(argc, argv, "norvo-session"))
        return 0;
    QApplication app(argc, argv);
    KLocalizedString::setApplicationDomain("norvoclonerestore");
    QApplication::setQuitOnLastWindowClosed(false);
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    SessionWindow window(arguments.contains(QStringLiteral("-C")));
    // The boot script has copied the system there when it was asked to, and has unmounted the stick.
    if (QFileInfo::exists(QStringLiteral("/run/live/memory/system.squashfs")))
        QMessageBox::information(
            &window, SessionWindow::Title(), i18n("Everything is in memory now. The stick can be taken out."));
    window.StartProgram();
    return QApplication::exec();
}
