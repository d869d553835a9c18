// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

// norvoReport [GREETING]: the window beside the program that shows what its commands do. The first command of a run
// opens it and tells it in GREETING what it would say on the socket.

#include "listener.h"
#include "reportwindow.h"

#include <KLocalizedString>

#include <QApplication>

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    KLocalizedString::setApplicationDomain("norvoclonerestore");
    QApplication::setApplicationName(QStringLiteral("norvoReport"));
    QApplication::setApplicationDisplayName(QString());
    QApplication::setQuitOnLastWindowClosed(false);
    Listener listener;
    if (!listener.Start())
        return 1;
    ReportWindow window;
    QObject::connect(&listener, &Listener::said, &window, &ReportWindow::Hear);
    QObject::connect(&listener, &Listener::closed, &window, &ReportWindow::EndOf);
    bool isNumber = false;
    const int connection = QApplication::arguments().value(1).toInt(&isNumber);
    if (isNumber)
        listener.Take(connection);
    return QApplication::exec();
}
