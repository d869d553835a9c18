// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "drivewindow.h"

#include "choice.h"
#include "failure.h"
#include "programicon.h"

#include <KLocalizedString>

#include <QApplication>
#include <QCheckBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QListWidget>
#include <QLocale>
#include <QMessageBox>
#include <QPushButton>
#include <QVBoxLayout>

namespace {
QString Text(const std::string& text)
{
    return QString::fromStdString(Printable(text));
}

/** As "Samsung SSD 870, 1.0 TB, serial number S5Y, sda: the running system is on it". */
QString RowText(const Drive& drive)
{
    QStringList parts = {drive.identity.model.empty() ? i18n("no model name") : Text(drive.identity.model)};
    parts.append(drive.bytes == 0
            ? i18n("no medium")
            : QLocale().formattedDataSize(static_cast<qint64>(drive.bytes), 1, QLocale::DataSizeSIFormat));
    parts.append(drive.identity.serial.empty() ? i18n("no serial number")
                                               : i18n("serial number %1", Text(drive.identity.serial)));
    parts.append(Text(drive.name));
    const QString row = parts.join(QStringLiteral(", "));
    return drive.system.empty() ? row : i18n("%1 (the running system is on it)", row);
}
} // namespace

DriveWindow::DriveWindow(const std::vector<Drive>& drives)
    : drives(drives)
{
    setWindowTitle(i18n("Norvo Drives"));
    setWindowIcon(ProgramIcon());
    const Roles roles = DecideNow(this->drives);
    auto* const layout = new QVBoxLayout(this);
    revList = AddList(layout, i18n("&REV drive (/dev/hdb)"), roles.rev.drive);
    diskList = AddList(layout, i18n("&Hard disk that is cloned and restored (/dev/hdc)"), roles.disk.drive);
    byPlace = new QCheckBox(i18n("&Know them by the place where they are connected, not by serial number"), this);
    layout->addWidget(byPlace);
    warning = new QLabel(this);
    warning->setTextFormat(Qt::PlainText);
    warning->setWordWrap(true);
    warning->setMinimumHeight(warning->fontMetrics().lineSpacing() * 3);
    warning->setMargin(6);
    QPalette red = warning->palette(); // to be read in dark schemes too
    red.setColor(QPalette::Window, QColor(0xa8, 0x10, 0x10));
    red.setColor(QPalette::WindowText, Qt::white);
    warning->setPalette(red);
    layout->addWidget(warning);
    auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Apply | QDialogButtonBox::Cancel, this);
    buttons->button(QDialogButtonBox::Apply)->setDefault(true);
    connect(buttons->button(QDialogButtonBox::Apply), &QPushButton::clicked, this, &DriveWindow::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &DriveWindow::reject);
    layout->addWidget(buttons);
    resize(760, 560);
    Judge();
}

/** A list with its title. The disk that the running system is on cannot be chosen. */
QListWidget* DriveWindow::AddList(QVBoxLayout* layout, const QString& title, const Drive* present)
{
    auto* const label = new QLabel(title, this);
    auto* const list = new QListWidget(this);
    label->setBuddy(list);
    list->setWordWrap(true);
    list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    list->setAccessibleName(title.simplified().remove(QLatin1Char('&')));
    for (const Drive& drive : drives) {
        auto* const row = new QListWidgetItem(RowText(drive), list);
        if (!drive.system.empty())
            row->setFlags(row->flags() & ~(Qt::ItemIsSelectable | Qt::ItemIsEnabled));
        else if (present == &drive)
            list->setCurrentItem(row);
    }
    connect(list, &QListWidget::itemSelectionChanged, this, &DriveWindow::Judge);
    layout->addWidget(label);
    layout->addWidget(list, 1);
    return list;
}

const Drive* DriveWindow::ChosenIn(const QListWidget* list) const
{
    const QList<QListWidgetItem*> chosen = list->selectedItems();
    return chosen.isEmpty() ? nullptr : &drives[static_cast<size_t>(list->row(chosen.first()))];
}

/** What the choice would lead to. */
void DriveWindow::Judge()
{
    if (warning == nullptr)
        return;
    QStringList lines;
    const Drive* const rev = ChosenIn(revList);
    const Drive* const disk = ChosenIn(diskList);
    if (rev != nullptr && rev == disk)
        lines.append(i18n("One drive cannot be both."));
    else if (disk != nullptr)
        lines.append(i18n("A restore overwrites everything on the hard disk %1.", RowText(*disk)));
    if (disk != nullptr && !disk->uses.empty())
        lines.append(i18n("It is in use: %1. A restore refuses it as long as it is.", Text(disk->uses.front())));
    if (rev != nullptr && rev != disk && !IsRevModel(rev->identity.model))
        lines.append(i18n(
            "%1 does not call itself an Iomega REV. Rev Manager overwrites it when it formats a disk.", RowText(*rev)));
    warning->setText(lines.join(QLatin1Char('\n')));
    warning->setAutoFillBackground(!lines.isEmpty());
}

void DriveWindow::accept()
{
    const Drive* const rev = ChosenIn(revList);
    const Drive* const disk = ChosenIn(diskList);
    try {
        Choose(drives, rev, disk, byPlace->isChecked());
        QApplication::setOverrideCursor(Qt::WaitCursor);
        Apply(drives, DecideNow(drives));
        QApplication::restoreOverrideCursor();
    } catch (const Failure& failure) {
        QApplication::restoreOverrideCursor();
        QMessageBox box(QMessageBox::Critical, windowTitle(), Text(failure.what()), QMessageBox::Ok, this);
        box.setTextFormat(Qt::PlainText);
        box.exec();
        return;
    }
    QDialog::accept();
}
