// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "restoreoutputdlg.h"

#include "fittexts.h"
#include "formimage.h"

#include <QtDebug>

restoreoutputdlg::restoreoutputdlg(QWidget* parent, const char* name, Qt::WindowFlags fl)
    : QWidget(parent, fl)
    , img0(FormImage(QStringLiteral("img0_restoreoutputdlg")))
{
    setObjectName(QString::fromUtf8(name));
    setupUi(this);
    setWindowIcon(img0);
    // Its texts are black and red, whatever colours the desktop has.
    QPalette paper = txtOutput->palette();
    paper.setColor(QPalette::Base, Qt::white);
    paper.setColor(QPalette::Text, Qt::black);
    txtOutput->setPalette(paper);
    restoreoutputdlg::languageChange();
    resize(baseSize().expandedTo(minimumSizeHint()));
}

void restoreoutputdlg::btnClose_clicked()
{
    qWarning("restoreoutputdlg::btnClose_clicked(): Not implemented yet");
}

void restoreoutputdlg::languageChange()
{
    retranslateUi(this);
    FitTexts(this);
}
