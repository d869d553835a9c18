// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "revmanagerdlg.h"

#include <QString>
#include <memory>

class QProcess;

/** The Rev manager dialog: shows the REV disk's state and usage, mounts and unmounts it, and formats it. */
class RevManager : public revManagerDlg
{
    Q_OBJECT

public:
    /** @param parent the main window, which Close() enables again */
    RevManager(QWidget* parent, const char* name, Qt::WindowFlags fl);
    ~RevManager() override;

    /** Runs df, waits for it, and shows the REV disk's used and free space as df prints them. */
    void UpdatePgbUsage();

    /**
     * Shows the REV disk's used and free space from what df printed; without a line of that disk all stays as it is.
     * @return false, with nothing changed, when it is not df's list
     */
    bool ReadUsage(QString dfOutput);

    /** Hides the dialog and enables the main window. */
    void Close();

    /** The keyboard goes to the first field of the dialog, which has just been shown. */
    void TakeKeyboard();

public Q_SLOTS:
    /**
     * Prepares the dialog for one showing: mounts the REV disk if it isn't, and reads its usage.
     * @param mounted the main window's Rev-mounted flag; kept, read and written
     */
    void Init(bool* mounted);
    void btnMount_clicked() override;

    /** Formats the REV disk after asking; leaves it unmounted. Returns when the operator knows how it ended. */
    void btnFormat_clicked() override;
    void btnCancel_clicked() override;
    virtual void readFromStdErrOut();
    void closeEvent(QCloseEvent* e) override;

private:
    bool UnmountForFormat();
    bool ConfirmFormat();
    void ResetUsage();
    void ShowUsage(const QString& dfLine);

    QWidget* parent;
    bool* mounted = nullptr;
    std::unique_ptr<QProcess> proc;
    QString output;       ///< what the running command has printed on its standard output
    QString usedSpace;    ///< as df printed it last
    QString freeSpace;    ///< as df printed it last
    int usagePercent = 0; ///< as df printed it last
};
