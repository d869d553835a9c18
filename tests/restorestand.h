// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "restore.h"
#include "restoreoutput.h"
#include "stand.h"

#include <QComboBox>
#include <QTreeWidget>

inline const QByteArray partitionTable = "# partition table of /dev/hdc\nunit: sectors\n\n"
                                         "/dev/hdc1 : start=       63, size=  1028097, Id=83, bootable\n"
                                         "/dev/hdc2 : start=  1028160, size=  2056320, Id=82\n"
                                         "/dev/hdc3 : start=        0, size=        0, Id= 0\n"
                                         "/dev/hdc4 : start=  3084480, size=  1012095, Id= f\n"
                                         "/dev/hdc5 : start=  3084543, size=  1012000, Id=82\n"
                                         "/dev/hdc10 : start=  4096543, size=       32, Id= 5\n";
inline const QString partitionNames = "hdc1|hdc10|hdc2|hdc4|hdc5";

inline void Store(const QString& serial, const QString& date, const QByteArray& table = partitionTable)
{
    WriteFile(QString("/mnt/rev/%1/%2/%1_%2_hdc.sf").arg(serial, date), table);
}

/** What the tests of the Restore dialog and of its runs share. */
class RestoreStand : public DialogStand<Restore>
{
protected:
    RestoreOutput* Output()
    {
        return Child<RestoreOutput>(dialog.get(), "Restore Output");
    }

    QTreeWidget* List()
    {
        return Child<QTreeWidget>(dialog.get(), "lstPartitions");
    }

    /** Does what the choice of an entry by the operator does. */
    void Pick(const QString& box, const QString& text)
    {
        auto* const combo = Child<QComboBox>(dialog.get(), box);
        combo->setCurrentText(text);
        Q_EMIT combo->textActivated(text);
    }

    /** What the dialog lists, as "serial|serial / date|date / partition|partition". */
    QString Listed()
    {
        const auto column = [](const QAbstractItemModel* model) {
            QStringList texts;
            for (int row = 0; row < model->rowCount(); ++row)
                texts.append(model->index(row, 0).data().toString());
            return texts.join('|');
        };
        return column(Child<QComboBox>(dialog.get(), "cmbSerial")->model()) + " / "
            + column(Child<QComboBox>(dialog.get(), "cmbDate")->model()) + " / " + column(List()->model());
    }
};
