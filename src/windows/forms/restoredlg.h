// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "ui_restoredlg.h"

#include <QPixmap>

/** The restore dialog: choice of image set, its partitions, options, REV status, Restore and Cancel. */
class restoreDlg : public QWidget, protected Ui::restoreDlg
{
    Q_OBJECT

public:
    /** Builds the form; without a name the object is called "restoreDlg". */
    restoreDlg(QWidget* parent, const char* name, Qt::WindowFlags fl);

public Q_SLOTS:
    virtual void btnCancelRestore_clicked();
    virtual void cmbSerial_activated(const QString&);
    virtual void cmbDate_activated(const QString&);
    virtual void btnStartRestore_clicked();
    virtual void btnMount_clicked();

protected Q_SLOTS:
    /** Sets every visible text in the current language. */
    virtual void languageChange();

private:
    QPixmap img0; ///< window icon
    QPixmap img1; ///< picture of btnMount
};
