// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "drives.h"

#include <QDialog>

class QCheckBox;
class QLabel;
class QListWidget;
class QVBoxLayout;

/** "Norvo Drives": the operator chooses the REV drive and the hard disk from two lists. */
class DriveWindow : public QDialog
{
    Q_OBJECT

public:
    /** @param drives those to choose from */
    explicit DriveWindow(const std::vector<Drive>& drives);

public Q_SLOTS:
    /** Ties what is chosen and waits for the links; the window says what is wrong and stays, else it closes. */
    void accept() override;

private:
    QListWidget* AddList(QVBoxLayout* layout, const QString& title, const Drive* present);
    void Judge();
    [[nodiscard]] const Drive* ChosenIn(const QListWidget* list) const;

    std::vector<Drive> drives;
    QListWidget* revList = nullptr;
    QListWidget* diskList = nullptr;
    QCheckBox* byPlace = nullptr;
    QLabel* warning = nullptr;
};
