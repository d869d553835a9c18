// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "words.h"

#include "failure.h"
#include "roles.h"
#include "systemuse.h"

#include <KLocalizedString>

#include <QLocale>
#include <QStringList>

QString Words::Plain(const std::string& text)
{
    return QString::fromStdString(Printable(text));
}

QString Words::Of(const Remark& remark)
{
    if (remark.text == byPlaceOption)
        return i18n("the box below the lists");
    if (remark.text == tieAnother)
        return i18n("choose another one");
    if (!remark.isTranslated)
        return Plain(remark.text);
    KLocalizedString text = ki18n(remark.text.c_str());
    for (const Remark& name : remark.names)
        text = text.subs(Of(name));
    return text.toString();
}

QString Words::Size(uint64_t bytes)
{
    return QLocale().formattedDataSize(static_cast<qint64>(bytes), 1, QLocale::DataSizeSIFormat);
}

QString Words::Of(const Drive& drive)
{
    QStringList parts = {drive.identity.model.empty() ? i18n("no model name") : Plain(drive.identity.model)};
    parts.append(drive.bytes == 0 ? i18n("no medium") : Size(drive.bytes));
    parts.append(drive.identity.serial.empty() ? i18n("no serial number")
                                               : i18n("serial number %1", Plain(drive.identity.serial)));
    parts.append(Plain(drive.name));
    const QString row = parts.join(QStringLiteral(", "));
    return drive.system.IsEmpty() ? row : i18n("%1 (the running system is on it)", row);
}
