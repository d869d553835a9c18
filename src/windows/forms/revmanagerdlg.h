// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "ui_revmanagerdlg.h"

#include <QPixmap>

/** The Rev manager dialog: usage, mount state and formatting of the REV disk. */
class revManagerDlg : public QWidget, protected Ui::revManagerDlg
{
    Q_OBJECT

public:
    /** Builds the form; without a name the object is called "revManagerDlg". */
    revManagerDlg(QWidget* parent, const char* name, Qt::WindowFlags fl);

public Q_SLOTS:
    virtual void btnCancel_clicked();
    virtual void btnFormat_clicked();
    virtual void btnMount_clicked();

protected Q_SLOTS:
    /** Sets every visible text in the current language. */
    virtual void languageChange();

private:
    QPixmap img0; ///< window icon
    QPixmap img1; ///< pxlRev: the drive
    QPixmap img2; ///< pklStatus: the drive with its connection
    QPixmap img3; ///< picture of btnMount
    QPixmap img4; ///< pxlFormat: warning triangle
};
