// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "revdiskpanel.h"

#include "failure.h"
#include "imagestore.h"
#include "words.h"

#include <KLocalizedString>

#include <QApplication>
#include <QEventLoop>
#include <QHBoxLayout>
#include <QLabel>
#include <QMessageBox>
#include <QProcess>
#include <QProgressBar>
#include <QPushButton>

namespace {
QString FindText(const RevDisk::Find& find)
{
    const QString what = Words::Of(find.what);
    return find.bytes == 0 ? what : what + QStringLiteral(", ") + Words::Size(find.bytes);
}

QString FindLines(const RevDisk& disk)
{
    QStringList lines;
    for (const RevDisk::Find& find : disk.finds)
        lines.append(FindText(find));
    return lines.join(QLatin1Char('\n'));
}

/** Runs it to its end while the window stays alive. A Failure with its last words. */
void RunFormat(const QStringList& command)
{
    QProcess process;
    process.setStandardOutputFile(QProcess::nullDevice());
    process.start(command.first(), command.mid(1));
    while (process.state() != QProcess::NotRunning)
        QApplication::processEvents(QEventLoop::WaitForMoreEvents);
    if (process.error() != QProcess::FailedToStart && process.exitStatus() == QProcess::NormalExit
        && process.exitCode() == 0)
        return;
    const QByteArray words = process.readAllStandardError().right(400).trimmed();
    throw Failure(ExitStatus::Failed,
        Remark("The disk could not be formatted, and what was on it is lost. Try another disk. %1",
            {words.mid(words.lastIndexOf('\n') + 1).toStdString()}));
}
} // namespace

RevDiskPanel::RevDiskPanel(std::function<Device(const Drive&)> find, QWidget* parent)
    : QWidget(parent)
    , find(std::move(find))
    , state(new QLabel(this))
    , progress(new QProgressBar(this))
    , format(new QPushButton(i18n("&Format disk..."), this))
{
    state->setTextFormat(Qt::PlainText);
    state->setWordWrap(true);
    state->setMinimumHeight(state->fontMetrics().lineSpacing() * 2);
    progress->setRange(0, 0); // it moves, and nobody knows how far it is
    progress->setTextVisible(false);
    progress->hide();
    auto* const row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(state, 1);
    row->addWidget(progress);
    row->addWidget(format);
    format->setAutoDefault(false);
    connect(format, &QPushButton::clicked, this, &RevDiskPanel::Format);
}

void RevDiskPanel::SetDrive(const Drive* chosen)
{
    drive = chosen == nullptr ? std::optional<Drive>() : *chosen;
    Look();
}

void RevDiskPanel::Look()
{
    disk.reset();
    try {
        if (drive && drive->system.IsEmpty() && drive->uses.empty())
            disk = RevDisk::LookAt(find(*drive));
    } catch (const Failure&) {
        // Without a disk there is nothing to say of it but that.
    }
    state->setText(StateText());
    format->setEnabled(disk.has_value());
}

QString RevDiskPanel::StateText() const
{
    if (!drive)
        return i18n("What is on the disk in the REV drive is shown here when one is chosen.");
    if (!drive->uses.empty())
        return i18n("In use: %1. Unmount it to format it.", Words::Of(drive->uses.front()));
    if (!disk)
        return i18n("There is no disk in this drive, or it cannot be read. Put one in, then look again.");
    if (disk->state == RevDisk::State::Formatted)
        return i18n("Formatted with UDF: \"%1\".", Words::Plain(disk->label));
    if (disk->state == RevDisk::State::Foreign)
        return i18n("Not formatted with UDF. On it: %1", FindText(disk->finds.front()));
    return i18n("Not formatted.");
}

bool RevDiskPanel::Ask()
{
    QStringList parts = {i18n("Format this disk with UDF?"), Words::Of(*drive)};
    if (!IsRevModel(drive->identity.model))
        parts.append(i18n("This drive does not call itself an Iomega REV. Is it the right one?"));
    parts.append(disk->finds.empty() ? i18n("Nothing that is known here is on it. All that it holds will be lost.")
                                     : i18n("All of this will be lost:\n%1", FindLines(*disk)));
    QMessageBox box(
        QMessageBox::Warning, i18n("Format disk"), parts.join(QStringLiteral("\n\n")), QMessageBox::NoButton, window());
    box.setTextFormat(Qt::PlainText);
    QPushButton* const yes = box.addButton(i18n("&Format"), QMessageBox::DestructiveRole);
    QPushButton* const no = box.addButton(i18n("&Don't format"), QMessageBox::RejectRole);
    box.setDefaultButton(no);
    box.setEscapeButton(no);
    box.exec();
    return box.clickedButton() == yes;
}

void RevDiskPanel::Format()
{
    if (busy || !disk || !Ask())
        return;
    QString result;
    QString complaint;
    SetBusy(true);
    try {
        result = FormatDisk();
    } catch (const Failure& failure) {
        complaint = Words::Of(failure.remark);
    }
    SetBusy(false);
    Look();
    if (!result.isEmpty())
        state->setText(result);
    format->setFocus();
    if (complaint.isEmpty())
        return;
    QMessageBox box(QMessageBox::Critical, i18n("Format disk"), complaint, QMessageBox::Ok, window());
    box.setTextFormat(Qt::PlainText);
    box.exec();
}

/** What to say when it has succeeded. */
QString RevDiskPanel::FormatDisk()
{
    const QStringList command = ImageStore::FormatCommand(QString::fromStdString(disk->device.path));
    RevFormat work(*disk, command.first().toStdString());
    work.ClearOld();
    RunFormat(command);
    work.Finish();
    return i18n("Formatted, %1 free. The program can mount it now.", Words::Size(work.FreeBytes()));
}

void RevDiskPanel::SetBusy(bool now)
{
    busy = now;
    format->setEnabled(!now);
    progress->setVisible(now);
    if (now) {
        state->setText(i18n("The disk is being formatted. Leave it in the drive..."));
        QApplication::setOverrideCursor(Qt::WaitCursor);
    } else {
        QApplication::restoreOverrideCursor();
    }
    Q_EMIT busyChanged(now);
}
