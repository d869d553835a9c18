// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

// norvoDrives: a window in which the operator chooses the REV drive and the hard disk.

#include "about.h"
#include "drivewindow.h"

#include <KLocalizedString>

#include <QApplication>

int main(int argc, char* argv[])
{
    if (AnswersQuestion(argc, argv, "norvoDrives"))
        return 0;
    QApplication app(argc, argv);
    KLocalizedString::setApplicationDomain("norvoclonerestore");
    QApplication::setApplicationName(QStringLiteral("norvoDrives"));
    QApplication::setApplicationDisplayName(QString());
    DriveWindow window({[] {
                            return ListDrives();
                        },
        [](const Drive& drive) {
            return Device::FindDisk(drive.name);
        }});
    window.show();
    return QApplication::exec();
}
