// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

// The eyes of lab/operator, loaded into the program before its own libraries (LD_PRELOAD). For each line on the pipe
// /run/look they write to the pipe /run/seen what somebody before the screen sees, in lines of a key and a value, the
// last of which is "end". They change nothing.

#include <QApplication>
#include <QComboBox>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSocketNotifier>
#include <QTreeWidget>

#include <algorithm>

#include <fcntl.h>
#include <unistd.h>

namespace {
/** Of a message box its caption, and of a button in it what it reads. */
QString NameOf(const QWidget* widget)
{
    const auto* const button = qobject_cast<const QAbstractButton*>(widget);
    if (widget == nullptr)
        return QStringLiteral("-");
    if (button != nullptr && qobject_cast<const QMessageBox*>(widget->window()))
        return button->text().remove(QLatin1Char('&'));
    return widget->isWindow() && widget->objectName().isEmpty() ? widget->windowTitle() : widget->objectName();
}

bool IsOpen(const QWidget* window)
{
    return window->isVisible() && window->isEnabled() && window->windowType() == Qt::Window;
}

/** The window that has to have the keyboard; null while there is none to work in. */
const QWidget* Front()
{
    if (const QWidget* const box = QApplication::activeModalWidget())
        return box;
    const QWidget* front = nullptr;
    for (const QWidget* window : QApplication::topLevelWidgets()) {
        if (IsOpen(window) && (front == nullptr || front->parentWidget() == nullptr))
            front = window;
    }
    return front;
}

/** As "spot NAME X Y", if it can be seen there. */
QString Spot(const QString& name, const QWidget* widget, const QPoint& place)
{
    const QPoint there = widget->mapToGlobal(place);
    const QWidget* const seen = QApplication::widgetAt(there);
    if (seen != widget && !widget->isAncestorOf(seen))
        return {};
    return QStringLiteral("spot %1 %2 %3\n").arg(name, QString::number(there.x()), QString::number(there.y()));
}

/** What can be clicked in a window, and what stands in its fields. */
QString Contents(const QWidget* window)
{
    QString text;
    for (const QWidget* widget : window->findChildren<QWidget*>()) {
        if (widget->window() != window)
            continue;
        if (const auto* const field = qobject_cast<const QLineEdit*>(widget))
            text += NameOf(field) + QLatin1Char(' ') + field->text() + QLatin1Char('\n');
        if (const auto* const list = qobject_cast<const QComboBox*>(widget))
            text += NameOf(list) + QLatin1Char(' ') + list->currentText() + QLatin1Char('\n');
        const bool isWork = qobject_cast<const QAbstractButton*>(widget) || qobject_cast<const QLineEdit*>(widget)
            || qobject_cast<const QComboBox*>(widget);
        if (isWork && widget->isVisible())
            text += Spot(NameOf(widget), widget, widget->rect().center());
    }
    return text;
}

/** The rows of the Restore dialog. */
QString Rows(const QTreeWidget* list)
{
    QString text, chosen;
    for (int i = 0; i < list->topLevelItemCount(); ++i) {
        const QTreeWidgetItem* const row = list->topLevelItem(i);
        chosen += row->checkState(0) == Qt::Checked ? row->text(0) + QLatin1Char(' ') : QString();
        const QRect place = list->visualItemRect(row);
        text += Spot(row->text(0), list->viewport(), QPoint(place.left() + 10, place.center().y()));
    }
    return text + QStringLiteral("chosen ") + chosen + QLatin1Char('\n');
}

QString Seen()
{
    const QWidget* const focus = QApplication::focusWidget();
    const QWidget* const front = Front();
    QString text = QStringLiteral("active %1\nfront %2\nfocus %3\n")
                       .arg(NameOf(QApplication::activeWindow()), NameOf(front), NameOf(focus));
    if (qobject_cast<const QMessageBox*>(front))
        text += QStringLiteral("box yes\n");
    for (const QWidget* window : QApplication::topLevelWidgets()) {
        text += Contents(window);
        // The buttons of the main window are disabled while a function waits.
        const auto* const button = window->findChild<QWidget*>(QStringLiteral("btnRevManager"));
        if (button != nullptr && !button->isEnabledTo(window) && !qobject_cast<const QMessageBox*>(front))
            text += QStringLiteral("works yes\n");
        if (button != nullptr)
            text += Spot(QStringLiteral("beside"), window, QPoint(20, 20)) + Rows(window->findChild<QTreeWidget*>());
    }
    return text + QStringLiteral("end\n");
}

void Open()
{
    qunsetenv("LD_PRELOAD"); // not for the commands
    const int look = open("/run/look", O_RDWR | O_NONBLOCK | O_CLOEXEC);
    const int seen = open("/run/seen", O_RDWR | O_CLOEXEC);
    auto* const notifier = new QSocketNotifier(look, QSocketNotifier::Read, qApp);
    QObject::connect(notifier, &QSocketNotifier::activated, qApp, [look, seen] {
        char asked[64];
        const QByteArray text = read(look, asked, sizeof asked) > 0 ? Seen().toUtf8() : QByteArray();
        if (write(seen, text.constData(), static_cast<size_t>(text.size())) < 0)
            qWarning("lab/operator: /run/seen can't be written");
    });
}
} // namespace

Q_COREAPP_STARTUP_FUNCTION(Open)
