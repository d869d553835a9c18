// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "drives.h"
#include "revdisk.h"

#include <QWidget>

#include <functional>
#include <optional>

class QLabel;
class QProgressBar;
class QPushButton;

/** Part of "Norvo Drives": what is on the disk in the chosen REV drive, and a button that formats it. */
class RevDiskPanel : public QWidget
{
    Q_OBJECT

public:
    /** @param find the device of a drive; a Failure where there is none */
    RevDiskPanel(std::function<Device(const Drive&)> find, QWidget* parent);

    /** Looks at the disk in that drive; a null pointer for none. */
    void SetDrive(const Drive* chosen);

    /** While a disk is being formatted. */
    [[nodiscard]] bool IsBusy() const
    {
        return busy;
    }

Q_SIGNALS:
    void busyChanged(bool busy);

private:
    void Look();
    [[nodiscard]] QString StateText() const;
    void Format();
    [[nodiscard]] bool Ask();
    QString FormatDisk();
    void SetBusy(bool now);

    std::function<Device(const Drive&)> find;
    std::optional<Drive> drive;
    std::optional<RevDisk> disk;
    bool busy = false;
    QLabel* state;
    QProgressBar* progress;
    QPushButton* format;
};
