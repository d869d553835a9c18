// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "dialogs.h"

#include "busy.h"
#include "utility.h"

#include <KLed>

#include <QLineEdit>
#include <QMessageBox>
#include <QWindow>

#include <algorithm>

namespace {
/** The window that is seen while a box of this dialog is open: its own, or one of those that it has hidden behind. */
QWidget* SeenWindow(QWidget* dialog)
{
    const auto inside = dialog->findChildren<QWidget*>();
    const auto opened = std::find_if(inside.begin(), inside.end(), [](const QWidget* widget) {
        return widget->isVisible() && widget->windowType() == Qt::Window;
    });
    if (opened != inside.end())
        return *opened;
    while (!dialog->isVisible() && dialog->parentWidget() != nullptr)
        dialog = dialog->parentWidget();
    return dialog;
}

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
    // A window manager keeps the two together, whichever window is clicked. With a hidden one it can't.
    if (box.winId() != 0)
        box.windowHandle()->setTransientParent(SeenWindow(box.parentWidget())->windowHandle());
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
