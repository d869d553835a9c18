// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "restore.h"

#include "busy.h"
#include "commandrunner.h"
#include "dialogs.h"
#include "fittexts.h"
#include "imagestore.h"
#include "restoreoutput.h"
#include "runannouncement.h"
#include "setguard.h"
#include "utility.h"

#include <KLocalizedString>

#include <QCloseEvent>
#include <QDir>
#include <QFile>

namespace {
/** Fills a combo box with the names of a listed directory, but for those that the file system itself keeps there. */
void Fill(QComboBox* box, const QStringList& names)
{
    box->clear();
    for (const QString& name : names) {
        if (name != QLatin1String(".") && name != QLatin1String("..") && name != QLatin1String("lost+found"))
            box->addItem(name);
    }
}

/** The number behind the "= " of field `n` of a partition line; behind its "=" when that has no blank after it. */
QString NumberText(const QString& fields, int n)
{
    const QString field = fields.section(QLatin1Char(','), n, n);
    const QString blank = QStringLiteral("= ");
    return field.section(field.contains(blank) ? blank : QStringLiteral("="), 1, 1);
}
} // namespace

Restore::Restore(QWidget* parent, const char* name, Qt::WindowFlags fl)
    : restoreDlg(parent, name, fl)
    , parent(parent)
    , revDir(std::make_unique<QDir>())
    , partitionFile(std::make_unique<QFile>())
    , process(std::make_unique<QProcess>())
    , restoreOutput(std::make_unique<RestoreOutput>(this, "Restore Output", Qt::Window))
{
    connect(process.get(), &QProcess::readyReadStandardOutput, this, &Restore::readFromStdout);
    connect(process.get(), &QProcess::readyReadStandardError, this, &Restore::readFromStderr);
}

Restore::~Restore()
{
    // Not left to the members' own order: the window is a child of this dialog and has to go before the dialog does,
    // and a process that is ended by its deletion has last words.
    process->disconnect(this);
    revDir.reset();
    partitionFile.reset();
    process.reset();
    restoreOutput.reset();
}

void Restore::Init(bool* mounted)
{
    imagesAvailable = false;
    this->mounted = mounted;
    ShowRevState(ledRevStatus, *mounted);
    if (*mounted) {
        revDir->setPath(QLatin1String(ImageStore::mountPoint));
        serialList = revDir->entryList(QDir::Dirs, QDir::Name);
        Fill(cmbSerial, serialList);
        imagesAvailable = cmbSerial->count() > 0;
        cmbSerial_activated(cmbSerial->currentText());
    }
    if (!imagesAvailable) {
        cmbSerial->clear();
        cmbDate->clear();
        lstPartitions->clear();
    }
}

void Restore::cmbSerial_activated(const QString& serial)
{
    if (!imagesAvailable)
        return;
    const QString path = ImageStore::SerialDirPath(serial);
    const bool entered = QFileInfo(path).isReadable() && QFileInfo(path).isExecutable() && revDir->cd(serial);
    dateList.clear();
    if (entered) {
        dateList = revDir->entryList(QDir::Dirs, QDir::Name | QDir::Reversed);
        revDir->cdUp();
    }
    Fill(cmbDate, dateList);
    imagesAvailable = cmbDate->count() > 0;
    if (!entered)
        ShowError(this, QStringLiteral("Unable to read directory %1!").arg(path));
    cmbDate_activated(cmbDate->currentText());
}

void Restore::cmbDate_activated(const QString& date)
{
    if (!imagesAvailable)
        return;
    lstPartitions->clear();
    QStringList lines;
    const QString fault = ReadTableLines(*partitionFile, cmbSerial->currentText(), date, lines);
    if (!fault.isEmpty()) {
        ShowError(this, fault);
        imagesAvailable = false;
        return;
    }
    partitions.clear();
    for (const QString& line : std::as_const(lines)) {
        partitionData record;
        ParsePartitionLine(line, record);
        if (!record.partition.isEmpty() && record.size.trimmed().toULongLong() != 0)
            AddPartition(record);
    }
    imagesAvailable = true;
    FitTexts(this);
}

void Restore::ParsePartitionLine(QString line, partitionData& pd)
{
    if (!line.startsWith(QLatin1Char('/')))
        return;
    const QString separator = QStringLiteral(" : ");
    pd.partition = line.section(separator, 0, 0).mid(5);
    line = line.section(separator, 1, 1);
    pd.start = NumberText(line, 0);
    pd.size = NumberText(line, 1);
    pd.type = line.section(QLatin1Char(','), 2, 2).section(QLatin1Char('='), 1, 1);
    pd.bootable = line.section(QLatin1Char(','), 3, 3) == QLatin1String(" bootable");
}

/** Lists a partition: its row, which the operator can check unless it is swap or extended, and its details below. */
void Restore::AddPartition(partitionData record)
{
    auto* const row = new QTreeWidgetItem(lstPartitions, {record.partition});
    row->setExpanded(true);
    row->setCheckState(0, Qt::Unchecked);
    if (record.type == QLatin1String("82")) {
        row->setDisabled(true);
        record.type = QStringLiteral("Swap");
        partitions.push_back(record);
    } else if (record.type == QLatin1String(" f")) {
        row->setDisabled(true);
        record.type = i18n("Extended");
    } else {
        partitions.push_back(record);
        row->setCheckState(0, Qt::Checked);
    }
    new QTreeWidgetItem(
        row, {i18n("Details:"), record.start, record.size, record.type, record.bootable ? i18n("YES") : i18n("NO")});
}

void Restore::btnMount_clicked()
{
    const Busy busy;
    ToggleRev(this, ledRevStatus, *mounted);
    Init(mounted);
}

void Restore::btnStartRestore_clicked()
{
    if (!imagesAvailable) {
        ShowError(this, QStringLiteral("There aren't images on Rev!"));
        return;
    }
    if (!*mounted) {
        ShowError(this, QStringLiteral("Rev is not mounted!"));
        return;
    }
    QString fault = FaultOfSet(cmbSerial->currentText(), cmbDate->currentText());
    if (fault.isEmpty())
        fault = FaultOfPartitions(ChosenPartitions() + SwapPartitions());
    if (fault.isEmpty())
        fault = FaultOfAuthenticity(cmbSerial->currentText(), cmbDate->currentText(), ChosenPartitions());
    if (!fault.isEmpty()) {
        ShowError(this, fault);
        return;
    }
    const Busy busy;
    CenterWindow(this, restoreOutput.get());
    setEnabled(false);
    hide();
    restoreOutput->setEnabled(true);
    restoreOutput->show();
    RestoreImageSet(cmbSerial->currentText(), cmbDate->currentText());
    ShowFinish(this, QStringLiteral("Restore finished successfully!"));
    restoreOutput->CloseEnabled();
}

void Restore::RestoreImageSet(const QString& serial, const QString& date)
{
    const QStringList chosen = ChosenPartitions();
    const QStringList swap = chkSwap->isChecked() ? SwapPartitions() : QStringList();
    const LinkBan ban(serial, date);
    RunAnnouncement run(false, serial, date);
    run.Mean(chosen, swap, chkGrub->isChecked());
    process->setWorkingDirectory(ImageStore::ImageSetPath(serial, date) + QLatin1Char('/'));
    ShowAndRun(ImageStore::RestoreBootSectorCommand(serial, date));
    ShowAndRun(ImageStore::RestorePartitionTableCommand(serial, date));
    for (const QString& partition : chosen)
        ShowAndRun(ImageStore::RestorePartitionCommand(serial, date, partition));
    restoreOutput->appendCommand(QStringLiteral("\n"));
    for (const QString& partition : swap) {
        const QStringList command = ImageStore::MakeSwapCommand(partition);
        run.BeginCommand(command.first(), partition);
        ShowAndRun(command);
        run.EndCommand(*process);
    }
    if (chkGrub->isChecked())
        ShowAndRun(ImageStore::ReinstallGrubCommand());
    run.Over();
}

/** The rows that are checked, which swap and extended partitions never are. */
QStringList Restore::ChosenPartitions() const
{
    QStringList names;
    for (int i = 0; i < lstPartitions->topLevelItemCount(); ++i) {
        const QTreeWidgetItem* const row = lstPartitions->topLevelItem(i);
        if (row->checkState(0) == Qt::Checked)
            names.append(row->text(0));
    }
    return names;
}

QStringList Restore::SwapPartitions() const
{
    QStringList names;
    for (const partitionData& record : partitions) {
        if (record.type == QLatin1String("Swap"))
            names.append(record.partition);
    }
    return names;
}

/** Runs one command of a restore run, with its command line before and an empty line after what it prints. */
void Restore::ShowAndRun(const QStringList& command)
{
    restoreOutput->appendCommand(command.join(QLatin1Char(' ')) + QStringLiteral(" \n"));
    RunCommand(*process, command);
    ShowOutput(&RestoreOutput::appendOutput, stdoutChunks.Rest());
    ShowOutput(&RestoreOutput::appendError, stderrChunks.Rest());
    if (process->error() == QProcess::FailedToStart)
        restoreOutput->appendError(command.first() + QStringLiteral(": can't be started; ") + WhyNotStarted());
    restoreOutput->appendCommand(QStringLiteral("\n"));
}

/** What the operator can do about a command that could not be started. */
QString Restore::WhyNotStarted() const
{
    const QString folder = process->workingDirectory();
    if (QFileInfo(folder).isDir())
        return QStringLiteral("is this command installed?");
    return folder + QStringLiteral(" is not there any more; is the REV disk still in its drive, and mounted?");
}

/** Appends what a command printed, unless it is only the beginning of a character so far. */
void Restore::ShowOutput(void (RestoreOutput::*append)(const QString&), const QString& text)
{
    if (!text.isEmpty())
        (restoreOutput.get()->*append)(text);
}

void Restore::readFromStdout()
{
    ShowOutput(&RestoreOutput::appendOutput, stdoutChunks.Decode(process->readAllStandardOutput()));
}

void Restore::readFromStderr()
{
    ShowOutput(&RestoreOutput::appendError, stderrChunks.Decode(process->readAllStandardError()));
}

void Restore::TakeKeyboard()
{
    GiveKeyboard(cmbSerial);
}

void Restore::Close()
{
    hide();
    parent->setEnabled(true);
}

void Restore::btnCancelRestore_clicked()
{
    Close();
}

void Restore::closeEvent(QCloseEvent* e)
{
    e->accept();
    Close();
}
