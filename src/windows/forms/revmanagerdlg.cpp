// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "revmanagerdlg.h"

#include "fittexts.h"
#include "formimage.h"

#include <QtDebug>

revManagerDlg::revManagerDlg(QWidget* parent, const char* name, Qt::WindowFlags fl)
    : QWidget(parent, fl)
    , img0(FormImage(QStringLiteral("img0_revmanagerdlg")))
    , img1(FormImage(QStringLiteral("img1_revmanagerdlg")))
    , img2(FormImage(QStringLiteral("img2_revmanagerdlg")))
    , img3(FormImage(QStringLiteral("img3_revmanagerdlg")))
    , img4(FormImage(QStringLiteral("img4_revmanagerdlg")))
{
    setObjectName(QString::fromUtf8(name));
    setupUi(this);
    setWindowIcon(img0);
    pxlRev->setPixmap(img1);
    pklStatus->setPixmap(img2);
    btnMount->setIcon(img3);
    pxlFormat->setPixmap(img4);
    revManagerDlg::languageChange();
    resize(baseSize().expandedTo(minimumSizeHint()));
}

void revManagerDlg::btnCancel_clicked()
{
    qWarning("revManagerDlg::btnCancel_clicked(): Not implemented yet");
}

void revManagerDlg::btnFormat_clicked()
{
    qWarning("revManagerDlg::btnFormat_clicked(): Not implemented yet");
}

void revManagerDlg::btnMount_clicked()
{
    qWarning("revManagerDlg::btnMount_clicked(): Not implemented yet");
}

void revManagerDlg::languageChange()
{
    retranslateUi(this);
    FitTexts(this);
}
