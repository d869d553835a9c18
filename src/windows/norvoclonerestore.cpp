// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "norvoclonerestore.h"

#include "clone.h"
#include "restore.h"
#include "revmanager.h"
#include "utility.h"

#include <QCloseEvent>

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
}

/** Shows a dialog in the middle of the main window, which is disabled until the dialog is closed. */
template <class Dialog> void NorvoCloneRestore::Open(Dialog* dialog)
{
    // The Rev manager's Init() waits for a command, and its format command may outlive the dialog on the screen: until
    // that has ended the REV disk is not to be touched from another dialog, nor is a second press to be acted on.
    if (revManager->IsBusy())
        return;
    dialog->Init(&revMounted);
    if (!restore) // the main window was closed while Init() waited
        return;
    CenterWindow(this, dialog);
    setEnabled(false);
    dialog->setEnabled(true);
    dialog->show();
}

void NorvoCloneRestore::btnClone_clicked()
{
    if (cloneVersion)
        Open(clone);
}

void NorvoCloneRestore::btnRestore_clicked()
{
    Open(restore);
}

void NorvoCloneRestore::btnRevManager_clicked()
{
    Open(revManager);
}

void NorvoCloneRestore::closeEvent(QCloseEvent* e)
{
    if (!isEnabled()) {
        e->ignore();
        return;
    }
    e->accept();
    Close();
}

void NorvoCloneRestore::Close()
{
    delete clone;
    clone = nullptr;
    delete restore;
    restore = nullptr;
    // A function of the Rev manager that waits for a command has to find its dialog alive when the wait is over. The
    // destructor, which calls this again, runs only when none is left.
    if (revManager && !revManager->IsBusy()) {
        delete revManager;
        revManager = nullptr;
    }
    UmountRev();
}
