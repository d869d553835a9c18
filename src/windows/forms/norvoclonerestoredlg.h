// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "ui_norvoclonerestoredlg.h"

#include <QPixmap>

/** The main window: a title and three large picture buttons, each with a label. */
class mainDlg : public QWidget, protected Ui::mainDlg
{
    Q_OBJECT

public:
    /** Builds the form; without a name the object is called "mainDlg". */
    mainDlg(QWidget* parent, const char* name, Qt::WindowFlags fl);

public Q_SLOTS:
    virtual void btnClone_clicked();
    virtual void btnRestore_clicked();
    virtual void btnRevManager_clicked();

protected Q_SLOTS:
    /** Sets every visible text in the current language. */
    virtual void languageChange();

private:
    QPixmap img0; ///< window icon
    QPixmap img1; ///< picture of btnClone
    QPixmap img2; ///< picture of btnRestore
    QPixmap img3; ///< picture of btnRevManager
};
