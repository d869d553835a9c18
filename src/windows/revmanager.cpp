// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "revmanager.h"

#include "busy.h"
#include "commandrunner.h"
#include "dialogs.h"
#include "imagestore.h"
#include "utility.h"

#include <KLocalizedString>

#include <QCloseEvent>
#include <QMessageBox>
#include <QPushButton>
#include <QTextStream>

RevManager::RevManager(QWidget* parent, const char* name, Qt::WindowFlags fl)
    : revManagerDlg(parent, name, fl)
    , parent(parent)
    , proc(std::make_unique<QProcess>())
{
    connect(proc.get(), &QProcess::readyReadStandardOutput, this, &RevManager::readFromStdErrOut);
    connect(proc.get(), &QProcess::readyReadStandardError, this, &RevManager::readFromStdErrOut);
}

RevManager::~RevManager()
{
    // A process that is ended by its deletion has last words.
    proc->disconnect(this);
}

void RevManager::Init(bool* mounted)
{
    this->mounted = mounted;
    if (!*mounted)
        *mounted = MountRev();
    ShowRevState(ledStatus, *mounted);
    if (*mounted)
        UpdatePgbUsage();
    else
        pgbUsage->setValue(0);
}

void RevManager::btnMount_clicked()
{
    if (BusyMonitor::Instance().IsBusy())
        return;
    const Busy busy;
    if (!ToggleRev(this, ledStatus, *mounted))
        return;
    if (*mounted)
        UpdatePgbUsage();
    else
        ResetUsage();
}

void RevManager::readFromStdErrOut()
{
    QByteArray bytes = proc->readAllStandardOutput();
    const auto end = bytes.indexOf('\0');
    if (end >= 0)
        bytes.truncate(end);
    output += QString::fromLatin1(bytes);
}

void RevManager::ResetUsage()
{
    pgbUsage->setValue(0);
    lblUsed->setText(i18n("Used space:") + QLatin1Char(' '));
    lblFree->setText(i18n("Free space:") + QLatin1Char(' '));
}

void RevManager::UpdatePgbUsage()
{
    output.clear();
    RunCommand(*proc, ImageStore::UsageCommand());
    if (!ReadUsage(output))
        ShowError(this, QStringLiteral("Error running df command!"));
}

bool RevManager::ReadUsage(QString dfOutput)
{
    QTextStream stream(&dfOutput, QIODevice::ReadOnly);
    if (!stream.readLine().startsWith(QLatin1String("Filesystem")))
        return false;
    while (!stream.atEnd()) {
        QString line = stream.readLine().simplified();
        // df moves the numbers to the next line when the device's name is long.
        if (!line.isEmpty() && !line.contains(QLatin1Char(' ')) && !stream.atEnd())
            line = QString(line + stream.readLine()).simplified();
        if (line.section(QLatin1Char(' '), 0, 0) == QLatin1String(ImageStore::revDevice))
            ShowUsage(line);
    }
    return true;
}

/** Shows the usage in a line of df: device, type, size, used, available, use in percent, separated by single blanks. */
void RevManager::ShowUsage(const QString& dfLine)
{
    const auto field = [&dfLine](int n) {
        return dfLine.section(QLatin1Char(' '), n, n);
    };
    usedSpace = field(3);
    lblUsed->setText(i18n("Used space:") + QLatin1Char(' ') + usedSpace);
    freeSpace = field(4);
    lblFree->setText(i18n("Free space:") + QLatin1Char(' ') + freeSpace);
    usagePercent = field(5).remove(QLatin1Char('%')).toInt();
    pgbUsage->setValue(usagePercent);
}

void RevManager::btnFormat_clicked()
{
    if (BusyMonitor::Instance().IsBusy())
        return;
    const Busy busy;
    if (!UnmountForFormat() || !ConfirmFormat())
        return;
    RunCommand(*proc, ImageStore::FormatCommand());
    const bool formatted = proc->error() != QProcess::FailedToStart && proc->exitStatus() == QProcess::NormalExit
        && proc->exitCode() == 0;
    if (formatted)
        ShowFinish(this, QStringLiteral("Rev formatted successfully!"));
    else
        ShowError(this, QStringLiteral("Unable to format Rev!"));
}

/**
 * Sees to it that the REV disk is there and not mounted. An unmounted one is mounted and unmounted again, which leaves
 * flag and LED as they are. If it returns false, the operator has been told why.
 */
bool RevManager::UnmountForFormat()
{
    if (*mounted) {
        if (!ToggleRev(this, ledStatus, *mounted))
            return false;
        ResetUsage();
        return true;
    }
    if (!MountRev()) {
        ShowError(this, QStringLiteral("Rev Error!"));
        return false;
    }
    if (!UmountRev()) {
        ShowError(this, QStringLiteral("Rev Error!"));
        ResetUsage();
        return false;
    }
    return true;
}

bool RevManager::ConfirmFormat()
{
    QMessageBox box(QMessageBox::Warning, QStringLiteral("Format"),
        QStringLiteral("Do you want to format Rev?\n\nAll data will be lost!"), QMessageBox::NoButton, this);
    QPushButton* const format = box.addButton(QStringLiteral("Format"), QMessageBox::AcceptRole);
    QPushButton* const cancel = box.addButton(QStringLiteral("Cancel"), QMessageBox::RejectRole);
    box.setDefaultButton(format);
    box.setEscapeButton(cancel);
    ShowBox(box);
    return box.clickedButton() == format;
}

void RevManager::TakeKeyboard()
{
    GiveKeyboard(btnMount);
}

void RevManager::Close()
{
    hide();
    parent->setEnabled(true);
}

void RevManager::btnCancel_clicked()
{
    Close();
}

void RevManager::closeEvent(QCloseEvent* e)
{
    e->accept();
    Close();
}
