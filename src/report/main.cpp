// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

// norvoReport [DESCRIPTOR]: the window beside the program that shows what its commands do. The first command of a run
// opens it and hands it the socket that it is to listen on, with the lock of that in the next descriptor.

#include "about.h"
#include "listener.h"
#include "messagelanguage.h"
#include "reportwindow.h"

#include <KLocalizedString>

#include <QApplication>

int main(int argc, char* argv[])
{
    if (AnswersQuestion(argc, argv, "norvoReport"))
        return 0;
    MessageLanguage::SetOperators();
    QApplication app(argc, argv);
    KLocalizedString::setApplicationDomain("norvoclonerestore");
    QApplication::setApplicationName(QStringLiteral("norvoReport"));
    QApplication::setApplicationDisplayName(QString());
    QApplication::setQuitOnLastWindowClosed(false);
    ReportSocket::Listening given;
    bool isNumber = false;
    const int descriptor = QApplication::arguments().value(1).toInt(&isNumber);
    if (isNumber) {
        given.socket = Descriptor(descriptor);
        given.lock = Descriptor(descriptor + 1);
    }
    Listener listener;
    if (!listener.Start(std::move(given)))
        return 1;
    ReportWindow window;
    QObject::connect(&listener, &Listener::said, &window, &ReportWindow::Hear);
    QObject::connect(&listener, &Listener::closed, &window, &ReportWindow::EndOf);
    QObject::connect(&listener, &Listener::quiet, &window, &ReportWindow::Settle);
    return QApplication::exec();
}
