// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "sessionwindow.h"

#include "failure.h"
#include "programicon.h"
#include "sessionlog.h"

#include <KLocalizedString>

#include <QApplication>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QVBoxLayout>

SessionWindow::SessionWindow(bool clone)
    : mode(clone ? QStringList{QStringLiteral("-C")} : QStringList())
    , result(new QLabel(this))
{
    setWindowTitle(Title());
    setWindowIcon(ProgramIcon());
    auto* const layout = new QVBoxLayout(this);
    layout->addWidget(new QLabel(i18n("The program has ended. What next?"), this));
    AddButton(layout, i18n("Start Norvo Clone-Restore &again"), &SessionWindow::StartProgram);
    AddButton(layout, i18n("Switch the PC &off"), &SessionWindow::SwitchOff);
    AddButton(layout, i18n("&Restart the PC"), &SessionWindow::Restart);
    AddButton(layout, i18n("&Terminal"), &SessionWindow::OpenTerminal);
    AddButton(layout, i18n("Save &log to the REV disk"), &SessionWindow::SaveLog);
    result->setTextFormat(Qt::PlainText);
    result->setWordWrap(true);
    result->hide();
    layout->addWidget(result);
    setMinimumWidth(360);
    program.setProcessChannelMode(QProcess::ForwardedChannels);
    connect(&program, &QProcess::errorOccurred, this, &SessionWindow::Ask);
    connect(&program, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), this, &SessionWindow::Ask);
}

QString SessionWindow::Title()
{
    return QStringLiteral("Norvo Clone-Restore");
}

void SessionWindow::AddButton(QVBoxLayout* layout, const QString& text, void (SessionWindow::*action)())
{
    auto* const button = new QPushButton(text, this);
    connect(button, &QPushButton::clicked, this, action);
    layout->addWidget(button);
}

void SessionWindow::StartProgram()
{
    hide();
    result->hide();
    program.start(QStringLiteral("norvo-clone-restore"), mode);
}

void SessionWindow::reject()
{
}

void SessionWindow::Ask()
{
    adjustSize();
    show();
}

void SessionWindow::SwitchOff()
{
    if (IsMeant(i18n("Switch the PC off now?"), i18n("&Switch off")))
        Run(QStringLiteral("systemctl"), {QStringLiteral("poweroff")});
}

void SessionWindow::Restart()
{
    if (IsMeant(i18n("Restart the PC now?"), i18n("&Restart")))
        Run(QStringLiteral("systemctl"), {QStringLiteral("reboot")});
}

/** Return and Escape leave the PC on. */
bool SessionWindow::IsMeant(const QString& question, const QString& answer)
{
    QMessageBox box(QMessageBox::Question, Title(), question, QMessageBox::Cancel, this);
    const QPushButton* const yes = box.addButton(answer, QMessageBox::AcceptRole);
    box.setDefaultButton(QMessageBox::Cancel);
    box.exec();
    return box.clickedButton() == yes;
}

void SessionWindow::OpenTerminal()
{
    Run(QStringLiteral("xterm"), {});
}

void SessionWindow::Run(const QString& command, const QStringList& arguments)
{
    if (QProcess::startDetached(command, arguments))
        return;
    result->setText(i18n("%1 cannot be started.", command));
    result->show();
}

void SessionWindow::SaveLog()
{
    QApplication::setOverrideCursor(Qt::WaitCursor);
    try {
        result->setText(i18n("The log is saved on the REV disk as %1.", SaveSessionLog()));
    } catch (const Failure& failure) {
        result->setText(i18n("The log is not saved: %1", QString::fromStdString(Printable(failure.what()))));
    }
    QApplication::restoreOverrideCursor();
    result->show();
    adjustSize();
}
