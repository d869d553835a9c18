// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "ui_clonedlg.h"

#include <QPixmap>

/** The clone dialog: serial number twice, image date, REV status, Clone and Cancel. */
class cloneDlg : public QWidget, protected Ui::cloneDlg
{
    Q_OBJECT

public:
    /** Builds the form; without a name the object is called "cloneDlg". */
    cloneDlg(QWidget* parent, const char* name, Qt::WindowFlags fl);

public Q_SLOTS:
    virtual void btnCancel_clicked();
    virtual void btnClone_clicked();
    virtual void btnMount_clicked();

protected Q_SLOTS:
    /** Sets every visible text in the current language. */
    virtual void languageChange();

private:
    QPixmap img0; ///< window icon
    QPixmap img1; ///< picture of btnMount
};
