// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "dialogs.h"

#include "busy.h"
#include "utility.h"

#include <KLed>

#include <QEvent>
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

/** A window manager keeps a box with the window it is said to belong to, which has to be one that can be seen. */
class KeptWithSeenWindow : public QObject
{
public:
    bool eventFilter(QObject* object, QEvent* event) override
    {
        auto* const box = static_cast<QWidget*>(object);
        if (event->type() == QEvent::Show)
            box->windowHandle()->setTransientParent(SeenWindow(box->parentWidget())->windowHandle());
        return false;
    }
};

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
    KeptWithSeenWindow filter;
    box.installEventFilter(&filter);
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
