// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "device.h"
#include "drives.h"

#include <QDialog>

#include <functional>

class QCheckBox;
class QLabel;
class QListWidget;
class QPushButton;
class QVBoxLayout;
class RevDiskPanel;

/** "Norvo Drives": the operator chooses the REV drive and the hard disk from two lists, and can format a REV disk. */
class DriveWindow : public QDialog
{
    Q_OBJECT

public:
    /** Where the window gets to know the machine. */
    struct Machine
    {
        std::function<std::vector<Drive>()> drives; ///< those to choose from
        std::function<Device(const Drive&)> device; ///< of one of them; a Failure where there is none
    };

    explicit DriveWindow(Machine machine);

public Q_SLOTS:
    /** Ties what is chosen and waits for the links; the window says what is wrong and stays, else it closes. */
    void accept() override;

    /** Not while a disk is being formatted. */
    void reject() override;

private:
    QListWidget* AddList(QVBoxLayout* layout, const QString& title);
    void AddButtons(QVBoxLayout* layout);
    void Fill(QListWidget* list, const Drive* present);
    void LookAgain();
    void LookAtRevDisk();
    void Judge();
    [[nodiscard]] QString Hindrance() const;
    [[nodiscard]] const Drive* ChosenIn(const QListWidget* list) const;

    Machine machine;
    std::vector<Drive> drives;
    QListWidget* revList;
    RevDiskPanel* revDisk;
    QListWidget* diskList;
    QCheckBox* byPlace;
    QLabel* warning;
    QLabel* hindrance = nullptr;
    QPushButton* ok = nullptr;
};
