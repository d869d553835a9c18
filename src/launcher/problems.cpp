// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "problems.h"

#include "links.h"
#include "words.h"

#include <KLocalizedString>

#include <QStringList>

QString Problems::OfDrives()
{
    const std::vector<Drive> drives = ListDrives();
    const Roles roles = DecideNow(drives);
    QStringList lines;
    const auto judge = [&lines](const char* path, const QString& what, const Seat& seat) {
        if (BlockNumber(path) == 0)
            lines.append(i18n("%1 (%2) is not there: %3", what, QString::fromLatin1(path),
                seat.drive == nullptr ? Words::Of(seat.remark) : i18n("udev has not made it")));
    };
    judge("/dev/hdb", i18n("The REV drive"), roles.rev);
    judge("/dev/hdc", i18n("The hard disk"), roles.disk);
    if (lines.isEmpty())
        return {};
    return lines.join(QStringLiteral("\n\n"));
}

QString Problems::OfStart(bool started, bool crashed, int status)
{
    if (!started)
        return i18n("The program needs the rights of root, and pkexec, which gives them, is not installed. Install the "
                    "package \"pkexec\", or run \"norvoclonerestore\" as root.");
    if (crashed)
        return i18n(
            "The program ended unexpectedly. Started in a terminal, as root, \"norvoclonerestore\" may tell why.");
    if (status == 126)
        return i18n("The rights of root were refused. Start again and give the password of an administrator.");
    if (status == 127)
        return i18n("The rights of root could not be asked for. Log in on this machine's own desktop, or run "
                    "\"norvoclonerestore\" as root.");
    if (status == 3)
        return i18n("Root cannot reach this display. Choose a session with X11 or Xwayland when you log in, or run "
                    "\"norvoclonerestore\" in one as root.");
    return {};
}
