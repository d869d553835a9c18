// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "drivewindow.h"

#include "choice.h"
#include "failure.h"
#include "programicon.h"
#include "revdiskpanel.h"
#include "words.h"

#include <KLocalizedString>

#include <QApplication>
#include <QCheckBox>
#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

namespace {
/** For a sentence of any length in that many lines, to be read in dark schemes too. */
QLabel* NewNote(QWidget* window, int lines)
{
    auto* const note = new QLabel(window);
    note->setTextFormat(Qt::PlainText);
    note->setWordWrap(true);
    note->setMinimumHeight(note->fontMetrics().lineSpacing() * lines);
    return note;
}

/** The same drive as before, if it is still there. */
const Drive* Again(const std::vector<Drive>& drives, const Drive* before)
{
    for (const Drive& drive : drives) {
        if (before != nullptr && drive.name == before->name && Matches(drive.identity, before->identity))
            return &drive;
    }
    return nullptr;
}
} // namespace

DriveWindow::DriveWindow(Machine machine)
    : machine(std::move(machine))
    , drives(this->machine.drives())
{
    setWindowTitle(i18n("Norvo Drives"));
    setWindowIcon(ProgramIcon());
    auto* const layout = new QVBoxLayout(this);
    revList = AddList(layout, i18n("&REV drive (/dev/hdb)"));
    revDisk = new RevDiskPanel(this->machine.device, this);
    layout->addWidget(revDisk);
    diskList = AddList(layout, i18n("&Hard disk that is cloned and restored (/dev/hdc)"));
    byPlace = new QCheckBox(i18n("&Know them by the place where they are connected, not by serial number"), this);
    layout->addWidget(byPlace);
    warning = NewNote(this, 3);
    warning->setMargin(6);
    QPalette red = warning->palette();
    red.setColor(QPalette::Window, QColor(0xa8, 0x10, 0x10));
    red.setColor(QPalette::WindowText, Qt::white);
    warning->setPalette(red);
    layout->addWidget(warning);
    AddButtons(layout);
    resize(760, 560);
    const Roles roles = DecideNow(drives);
    Fill(revList, roles.rev.drive);
    Fill(diskList, roles.disk.drive);
    connect(revList, &QListWidget::itemSelectionChanged, this, &DriveWindow::LookAtRevDisk);
    connect(diskList, &QListWidget::itemSelectionChanged, this, &DriveWindow::Judge);
    connect(byPlace, &QCheckBox::toggled, this, &DriveWindow::Judge);
    connect(revDisk, &RevDiskPanel::busyChanged, this, [this](bool busy) {
        for (QWidget* widget : findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly)) {
            if (widget != revDisk && !widget->isWindow())
                widget->setEnabled(!busy);
        }
    });
    LookAtRevDisk();
}

QListWidget* DriveWindow::AddList(QVBoxLayout* layout, const QString& title)
{
    auto* const label = new QLabel(title, this);
    auto* const list = new QListWidget(this);
    label->setBuddy(list);
    list->setWordWrap(true);
    list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    list->setAccessibleName(title.simplified().remove(QLatin1Char('&')));
    layout->addWidget(label);
    layout->addWidget(list, 1);
    return list;
}

/** The last row: why the choice can't be taken stands beside the button that takes it. */
void DriveWindow::AddButtons(QVBoxLayout* layout)
{
    auto* const row = new QHBoxLayout;
    auto* const again = new QPushButton(i18n("&Look again"), this);
    again->setAutoDefault(false);
    connect(again, &QPushButton::clicked, this, &DriveWindow::LookAgain);
    hindrance = NewNote(this, 2);
    auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    ok = buttons->button(QDialogButtonBox::Ok);
    ok->setDefault(true);
    // The toolkit's translations may not be installed.
    buttons->button(QDialogButtonBox::Cancel)->setText(i18n("Cancel"));
    connect(buttons, &QDialogButtonBox::accepted, this, &DriveWindow::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &DriveWindow::reject);
    row->addWidget(again);
    row->addWidget(hindrance, 1);
    row->addWidget(buttons);
    layout->addLayout(row);
}

/** The disk that the running system is on cannot be chosen. */
void DriveWindow::Fill(QListWidget* list, const Drive* present)
{
    const QSignalBlocker quiet(list);
    list->clear();
    for (const Drive& drive : drives) {
        auto* const row = new QListWidgetItem(Words::Of(drive), list);
        if (!drive.system.IsEmpty())
            row->setFlags(row->flags() & ~(Qt::ItemIsSelectable | Qt::ItemIsEnabled));
        else if (present == &drive)
            list->setCurrentItem(row);
    }
}

void DriveWindow::LookAgain()
{
    const std::vector<Drive> before = std::move(drives);
    const auto chosen = [&before](const QListWidget* list) {
        const QList<QListWidgetItem*> rows = list->selectedItems();
        return rows.isEmpty() ? nullptr : &before[static_cast<size_t>(list->row(rows.first()))];
    };
    drives = machine.drives();
    Fill(revList, Again(drives, chosen(revList)));
    Fill(diskList, Again(drives, chosen(diskList)));
    LookAtRevDisk();
}

const Drive* DriveWindow::ChosenIn(const QListWidget* list) const
{
    const QList<QListWidgetItem*> chosen = list->selectedItems();
    return chosen.isEmpty() ? nullptr : &drives[static_cast<size_t>(list->row(chosen.first()))];
}

void DriveWindow::LookAtRevDisk()
{
    revDisk->SetDrive(ChosenIn(revList));
    Judge();
}

/** Why the choice can't be taken; empty where it can. */
QString DriveWindow::Hindrance() const
{
    const Drive* const rev = ChosenIn(revList);
    const Drive* const disk = ChosenIn(diskList);
    if (rev == nullptr && disk == nullptr)
        return i18n("Choose a drive in one of the lists.");
    if (rev == disk)
        return i18n("One drive cannot be both.");
    try {
        ChosenTies(drives, rev, disk, byPlace->isChecked());
    } catch (const Failure& failure) {
        return Words::Of(failure.remark);
    }
    return {};
}

/** What the choice would lead to. */
void DriveWindow::Judge()
{
    QStringList lines;
    const Drive* const rev = ChosenIn(revList);
    const Drive* const disk = ChosenIn(diskList);
    if (disk != nullptr && rev != disk)
        lines.append(i18n("A restore overwrites everything on the hard disk %1.", Words::Of(*disk)));
    if (disk != nullptr && !disk->uses.empty())
        lines.append(i18n("It is in use: %1. A restore refuses it as long as it is.", Words::Of(disk->uses.front())));
    if (rev != nullptr && rev != disk && !IsRevModel(rev->identity.model))
        lines.append(i18n("%1 does not call itself an Iomega REV. Rev Manager overwrites it when it formats a disk.",
            Words::Of(*rev)));
    warning->setText(lines.join(QLatin1Char('\n')));
    warning->setAutoFillBackground(!lines.isEmpty());
    hindrance->setText(Hindrance());
    ok->setEnabled(hindrance->text().isEmpty());
}

void DriveWindow::accept()
{
    QString complaint;
    QApplication::setOverrideCursor(Qt::WaitCursor);
    try {
        ChosenTies(drives, ChosenIn(revList), ChosenIn(diskList), byPlace->isChecked()).Write();
        Apply(drives, DecideNow(drives));
    } catch (const Failure& failure) {
        complaint = Words::Of(failure.remark);
    }
    QApplication::restoreOverrideCursor();
    if (complaint.isEmpty()) {
        QDialog::accept();
        return;
    }
    QMessageBox box(QMessageBox::Critical, windowTitle(), complaint, QMessageBox::Ok, this);
    box.setTextFormat(Qt::PlainText);
    box.exec();
}

void DriveWindow::reject()
{
    if (!revDisk->IsBusy())
        QDialog::reject();
}
