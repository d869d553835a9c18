// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "norvoclonerestore.h"

#include "busy.h"
#include "clone.h"
#include "restore.h"
#include "revmanager.h"
#include "utility.h"

#include <KWindowSystem>
#include <KX11Extras>

#include <QApplication>
#include <QCloseEvent>

#include <algorithm>
#include <utility>

namespace {
/** The window of the program that the operator can work in while the main window is disabled; null where none is. */
QWidget* OpenWindow()
{
    if (QWidget* const box = QApplication::activeModalWidget())
        return box;
    const QWidgetList windows = QApplication::topLevelWidgets();
    const auto open = std::find_if(windows.begin(), windows.end(), [](const QWidget* window) {
        return window->isVisible() && window->isEnabled() && window->windowType() == Qt::Window;
    });
    return open == windows.end() ? nullptr : *open;
}

/** A window manager would think activateWindow() a theft where no key was pressed in the window before. */
void Activate(QWidget* window)
{
    if (KWindowSystem::isPlatformX11())
        KX11Extras::forceActiveWindow(window->winId());
    else
        window->activateWindow();
}
} // namespace

NorvoCloneRestore::NorvoCloneRestore(QWidget* parent, const char* name, Qt::WindowFlags fl)
    : mainDlg(parent, name, fl)
{
}

NorvoCloneRestore::~NorvoCloneRestore()
{
    Close();
}

void NorvoCloneRestore::Init(bool cloneVersion, const char* version)
{
    setWindowTitle(windowTitle() + QString::fromUtf8(version));
    this->cloneVersion = cloneVersion;
    if (cloneVersion) {
        clone = new Clone(this, "Clone", Qt::Window);
    } else {
        const QList<QWidget*> unavailable = {btnClone, lblClone};
        for (QWidget* widget : unavailable) {
            widget->setEnabled(false);
            widget->hide();
        }
        const QList<QWidget*> remaining = {btnRestore, lblRestore, btnRevManager, lblRevManager};
        for (QWidget* widget : remaining)
            widget->move(widget->x(), widget->y() - 120);
        setFixedSize(512, 360);
        setSizeIncrement(0, 0);
        setBaseSize(512, 360);
    }
    restore = new Restore(this, "Restore", Qt::Window);
    revManager = new RevManager(this, "RevManager", Qt::Window);
    revMounted = MountRev();
    connect(&BusyMonitor::Instance(), &BusyMonitor::changed, this, [this](bool busy) {
        EnableButtons(!busy);
    });
}

/** The buttons are disabled while a function waits: the Rev manager's format command may outlive its dialog. */
void NorvoCloneRestore::EnableButtons(bool enabled)
{
    btnClone->setEnabled(enabled && cloneVersion);
    btnRestore->setEnabled(enabled);
    btnRevManager->setEnabled(enabled);
    ReturnKeyboard();
}

/** To the button that was pressed last: it has lost the keyboard when it was disabled. */
void NorvoCloneRestore::ReturnKeyboard()
{
    if (pressed != nullptr)
        pressed->setFocus();
}

/** Shows a button's dialog in the middle of the main window, which is disabled until the dialog is closed. */
template <class Dialog> void NorvoCloneRestore::Open(Dialog* dialog, QPushButton* button)
{
    if (BusyMonitor::Instance().IsBusy())
        return;
    const Busy busy;
    pressed = button;
    CenterWindow(this, dialog); // a box that comes while it is prepared stands in the middle of it
    dialog->Init(&revMounted);
    if (leaving) // while Init() waited
        return;
    CenterWindow(this, dialog);
    setEnabled(false);
    dialog->setEnabled(true);
    dialog->show();
    dialog->TakeKeyboard();
}

void NorvoCloneRestore::btnClone_clicked()
{
    if (cloneVersion)
        Open(clone, btnClone);
}

void NorvoCloneRestore::btnRestore_clicked()
{
    Open(restore, btnRestore);
}

void NorvoCloneRestore::btnRevManager_clicked()
{
    Open(revManager, btnRevManager);
}

void NorvoCloneRestore::closeEvent(QCloseEvent* e)
{
    if (!isEnabled()) {
        e->ignore();
        return;
    }
    e->accept();
    leaving = true;
    // A function that waits has to find its dialog alive when the wait is over. The destructor makes up for it then.
    if (!BusyMonitor::Instance().IsBusy())
        Close();
}

/** What is open lies within this window, which would hide it whole when it is clicked. */
bool NorvoCloneRestore::event(QEvent* e)
{
    if (!isEnabled() && (e->type() == QEvent::WindowActivate || e->type() == QEvent::MouseButtonPress)) {
        if (QWidget* const open = OpenWindow()) {
            open->raise();
            Activate(open);
        }
    }
    return mainDlg::event(e);
}

/** A dialog has given the window back. It takes the keyboard, which would go to the report, which came last. */
void NorvoCloneRestore::changeEvent(QEvent* e)
{
    mainDlg::changeEvent(e);
    if (e->type() == QEvent::EnabledChange && isEnabled()) {
        Activate(this);
        ReturnKeyboard();
    }
}

void NorvoCloneRestore::Close()
{
    if (std::exchange(closed, true))
        return;
    delete clone;
    clone = nullptr;
    delete restore;
    restore = nullptr;
    delete revManager;
    revManager = nullptr;
    UmountRev();
}
