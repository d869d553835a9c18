// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "norvoclonerestoredlg.h"

#include "fittexts.h"
#include "formimage.h"

#include <QtDebug>

mainDlg::mainDlg(QWidget* parent, const char* name, Qt::WindowFlags fl)
    : QWidget(parent, fl)
    , img0(FormImage(QStringLiteral("img0_norvoclonerestoredlg")))
    , img1(FormImage(QStringLiteral("img1_norvoclonerestoredlg")))
    , img2(FormImage(QStringLiteral("img2_norvoclonerestoredlg")))
    , img3(FormImage(QStringLiteral("img3_norvoclonerestoredlg")))
{
    setObjectName(QString::fromUtf8(name));
    setupUi(this);
    setWindowIcon(img0);
    btnClone->setIcon(img1);
    btnRestore->setIcon(img2);
    btnRevManager->setIcon(img3);
    mainDlg::languageChange();
    resize(baseSize().expandedTo(minimumSizeHint()));
}

void mainDlg::btnClone_clicked()
{
    qWarning("mainDlg::btnClone_clicked(): Not implemented yet");
}

void mainDlg::btnRestore_clicked()
{
    qWarning("mainDlg::btnRestore_clicked(): Not implemented yet");
}

void mainDlg::btnRevManager_clicked()
{
    qWarning("mainDlg::btnRevManager_clicked(): Not implemented yet");
}

void mainDlg::languageChange()
{
    retranslateUi(this);
    FitTexts(this);
}
