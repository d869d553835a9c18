// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "clone.h"

#include "busy.h"
#include "commandrunner.h"
#include "dialogs.h"
#include "imagestore.h"
#include "runannouncement.h"
#include "setguard.h"

#include <QCloseEvent>
#include <QDate>
#include <QFile>
#include <QLocale>

Clone::Clone(QWidget* parent, const char* name, Qt::WindowFlags fl)
    : cloneDlg(parent, name, fl)
    , parentWindow(parent)
    , proc(std::make_unique<QProcess>())
{
    // Nobody reads what the commands of a clone run print, and it must not pile up in memory.
    proc->setStandardOutputFile(QProcess::nullDevice());
    proc->setStandardErrorFile(QProcess::nullDevice());
}

Clone::~Clone() = default;

void Clone::Init(bool* mounted)
{
    // The name of a directory: its digits are the same in every country.
    edtDate->setText(QLocale::c().toString(QDate::currentDate(), QLatin1String(ImageStore::dateFormat)));
    this->mounted = mounted;
    ShowRevState(ledRevStatus, *mounted);
}

void Clone::Close()
{
    hide();
    parentWindow->setEnabled(true);
}

void Clone::TakeKeyboard()
{
    GiveKeyboard(edtSerial);
}

void Clone::btnCancel_clicked()
{
    Close();
}

void Clone::closeEvent(QCloseEvent* e)
{
    e->accept();
    Close();
}

void Clone::btnMount_clicked()
{
    ToggleRev(this, ledRevStatus, *mounted);
}

void Clone::btnClone_clicked()
{
    if (!CheckInput())
        return;
    const Busy busy;
    setEnabled(false);
    hide();
    SaveImageSet(edtSerial->text(), edtDate->text());
    setEnabled(true);
    ShowFinish(this, QStringLiteral("Clone finished successfully!"));
    Close();
}

/** Whether a clone run can start; if not, the operator has been told why. */
bool Clone::CheckInput()
{
    QString error;
    QWidget* wrong = edtSerial;
    if (!*mounted) {
        error = QStringLiteral("Rev is not mounted!");
        wrong = btnMount;
    } else if (edtSerial->text().isEmpty()) {
        error = QStringLiteral("Machine serial number cannot be empty!");
    } else if (edtSerialAgain->text() != edtSerial->text()) {
        error = QStringLiteral("Machine serial numbers are not equal!");
        wrong = edtSerialAgain;
    } else {
        error = FaultOfSet(edtSerial->text(), edtDate->text());
        if (error.isEmpty())
            error = FaultOfKey();
    }
    if (error.isEmpty())
        return true;
    ShowError(this, error);
    GiveKeyboard(wrong);
    return false;
}

void Clone::SaveImageSet(const QString& serial, const QString& date)
{
    const LinkBan ban(serial, date);
    RunAnnouncement run(true, serial, date);
    RunCommand(*proc, ImageStore::MakeSerialDirCommand(serial));
    RunCommand(*proc, ImageStore::MakeImageSetDirCommand(serial, date));
    RunCommand(*proc, ImageStore::SaveBootSectorCommand(serial, date));
    RunCommand(*proc, ImageStore::SavePartitionTableCommand(serial, date));
    QStringList partitions;
    ReadPartitionTable(serial, date, partitions);
    run.Mean(partitions);
    for (const QString& partition : std::as_const(partitions))
        RunCommand(*proc, ImageStore::SavePartitionCommand(serial, date, partition));
    run.Over();
}

/** Fills `list` with the partitions to image; leaves it as it is when the file can't be read. */
void Clone::ReadPartitionTable(const QString& serial, const QString& date, QStringList& list)
{
    QFile file;
    QStringList lines;
    QStringList names;
    if (!ReadTableLines(file, serial, date, lines).isEmpty())
        return;
    for (const QString& line : std::as_const(lines))
        ParsePartitionLine(line, names);
    if (FaultOfPartitions(names).isEmpty()) // else it is not of this run
        list = names;
}

void Clone::ParsePartitionLine(QString line, QStringList& list)
{
    if (!line.startsWith(QLatin1Char('/')))
        return;
    const QString separator = QStringLiteral(" : ");
    const QString name = line.section(separator, 0, 0).mid(5);
    line = line.section(separator, 1, 1);
    const QString type = line.section(QLatin1Char(','), 2, 2).section(QLatin1Char('='), 1, 1);
    if (type != QLatin1String("82"))
        list.append(name);
}
