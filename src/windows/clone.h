// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "clonedlg.h"

#include <QProcess>
#include <memory>

/** The clone dialog: asks for the machine's serial number and saves an image of the hard disk to the REV disk. */
class Clone : public cloneDlg
{
    Q_OBJECT

public:
    /** @param parent the main window, which Close() enables again */
    Clone(QWidget* parent, const char* name, Qt::WindowFlags fl);
    ~Clone() override;

    /** Hides the dialog and enables the main window. */
    void Close();

    /** The keyboard goes to the first field of the dialog, which has just been shown. */
    void TakeKeyboard();

    /**
     * Appends the partition named by a line of a partition-table file to `list`, without its "/dev/". Lines that don't
     * begin with "/" and swap partitions (type "82") add nothing; every other line does, however malformed.
     */
    void ParsePartitionLine(QString line, QStringList& list);

public Q_SLOTS:
    void btnCancel_clicked() override;

    /**
     * The clone run: checks the input, then runs the commands that save boot sector, partition table and partitions,
     * one by one. Returns when the operator has acknowledged the end. No command is checked for success.
     */
    void btnClone_clicked() override;
    void btnMount_clicked() override;

    /**
     * Prepares the dialog for one showing; the serial numbers typed last time stay.
     * @param mounted the main window's Rev-mounted flag; kept, read and written
     */
    void Init(bool* mounted);
    void closeEvent(QCloseEvent* e) override;

private:
    bool CheckInput();
    void SaveImageSet(const QString& serial, const QString& date);
    void ReadPartitionTable(const QString& serial, const QString& date, QStringList& list);

    QWidget* parentWindow;
    bool* mounted = nullptr;
    std::unique_ptr<QProcess> proc;
};
