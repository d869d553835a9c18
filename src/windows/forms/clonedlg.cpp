// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "clonedlg.h"

#include "fittexts.h"
#include "formimage.h"

#include <QtDebug>

cloneDlg::cloneDlg(QWidget* parent, const char* name, Qt::WindowFlags fl)
    : QWidget(parent, fl)
    , img0(FormImage(QStringLiteral("img0_clonedlg")))
    , img1(FormImage(QStringLiteral("img1_clonedlg")))
{
    setObjectName(QString::fromUtf8(name));
    setupUi(this);
    setWindowIcon(img0);
    btnMount->setIcon(img1);
    cloneDlg::languageChange();
    // Going round, btnClone comes after btnCancel already, so the toolkit leaves it at the chain's beginning.
    edtSerial->setFocus();
    resize(baseSize().expandedTo(minimumSizeHint()));
}

void cloneDlg::btnCancel_clicked()
{
    qWarning("cloneDlg::btnCancel_clicked(): Not implemented yet");
}

void cloneDlg::btnClone_clicked()
{
    qWarning("cloneDlg::btnClone_clicked(): Not implemented yet");
}

void cloneDlg::btnMount_clicked()
{
    qWarning("cloneDlg::btnMount_clicked(): Not implemented yet");
}

void cloneDlg::languageChange()
{
    retranslateUi(this);
    FitTexts(this);
}
