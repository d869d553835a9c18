// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "dialogs.h"

#include "busy.h"
#include "utility.h"

#include <KLed>

#include <QLineEdit>
#include <QMessageBox>

namespace {
void ShowBox(QMessageBox::Icon icon, QWidget* dialog, const QString& caption, const QString& text)
{
    QMessageBox box(icon, caption, text, QMessageBox::Ok, dialog);
    ShowBox(box);
}
} // namespace

void ShowBox(QMessageBox& box)
{
    const Busy busy;
    box.setTextFormat(Qt::PlainText);
    box.exec();
}

void ShowError(QWidget* dialog, const QString& text)
{
    ShowBox(QMessageBox::Critical, dialog, QStringLiteral("Error"), text);
}

void ShowFinish(QWidget* dialog, const QString& text)
{
    ShowBox(QMessageBox::Information, dialog, QStringLiteral("Finish"), text);
}

void GiveKeyboard(QWidget* widget)
{
    widget->setFocus();
    if (auto* const edit = qobject_cast<QLineEdit*>(widget))
        edit->selectAll();
}

void ShowRevState(KLed* led, bool mounted)
{
    led->setColor(mounted ? Qt::green : Qt::red);
}

bool ToggleRev(QWidget* dialog, KLed* led, bool& mounted)
{
    if (mounted ? !UmountRev() : !MountRev()) {
        ShowError(dialog, mounted ? QStringLiteral("Unable to umount Rev!") : QStringLiteral("Unable to mount Rev!"));
        return false;
    }
    mounted = !mounted;
    ShowRevState(led, mounted);
    return true;
}
