// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "ui_restoreoutputdlg.h"

#include <QPixmap>

/** The restore output window: the transcript of a restore run and Close. */
class restoreoutputdlg : public QWidget, protected Ui::restoreoutputdlg
{
    Q_OBJECT

public:
    /** Builds the form; without a name the object is called "restoreoutputdlg". */
    restoreoutputdlg(QWidget* parent, const char* name, Qt::WindowFlags fl);

public Q_SLOTS:
    virtual void btnClose_clicked();

protected Q_SLOTS:
    /** Sets every visible text in the current language. */
    virtual void languageChange();

private:
    QPixmap img0; ///< window icon
};
