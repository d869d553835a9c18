// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "norvoclonerestoredlg.h"

class Clone;
class Restore;
class RevManager;

/**
 * The main window. It owns the three dialogs and the Rev-mounted flag that they share, mounts the REV disk at the start
 * and unmounts it when it is closed. While a dialog is open it is disabled and can't be closed; the dialog enables it
 * again.
 */
class NorvoCloneRestore : public mainDlg
{
    Q_OBJECT

public:
    NorvoCloneRestore(QWidget* parent, const char* name, Qt::WindowFlags fl);
    ~NorvoCloneRestore() override;

    /**
     * Lays the window out, creates the dialogs and mounts the REV disk; to be called once, before the window is shown.
     * @param cloneVersion whether cloning is offered; if not, the window has no Clone button and no clone dialog
     * @param version appended to the caption
     */
    void Init(bool cloneVersion, const char* version);

    /** Releases the dialogs and unmounts the REV disk, once. */
    void Close();

public Q_SLOTS:
    void btnClone_clicked() override;
    void btnRestore_clicked() override;
    void btnRevManager_clicked() override;
    void closeEvent(QCloseEvent* e) override;

protected:
    bool event(QEvent* e) override;
    void changeEvent(QEvent* e) override;

private:
    template <class Dialog> void Open(Dialog* dialog, QPushButton* button);
    void ReturnKeyboard();
    void EnableButtons(bool enabled);

    Clone* clone = nullptr; ///< null in restore-only mode
    Restore* restore = nullptr;
    RevManager* revManager = nullptr;
    QPushButton* pressed = nullptr; ///< the button whose dialog was opened last
    bool revMounted = false; ///< true while the program holds the REV disk mounted; the dialogs read and write it
    bool cloneVersion = false;
    bool leaving = false; ///< the operator has closed the window
    bool closed = false;  ///< Close() was called
};
