// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "drivewindow.h"

#include <QLabel>
#include <QListWidget>
#include <QTest>

namespace {
Drive NewDrive(const char* name, const char* model, uint64_t bytes, const char* system, const char* use)
{
    Drive drive;
    drive.name = name;
    drive.identity = {model, std::string("S") + name, "", ""};
    drive.bytes = bytes;
    drive.system = system;
    if (*use != '\0')
        drive.uses = {use};
    return drive;
}

const std::vector<Drive> drives = {NewDrive("sda", "Fast SSD 870", 500107862016, "sda1 is mounted at /", ""),
    NewDrive("sdb", "Iomega RRD", 35000000000, "", ""),
    NewDrive("sdc", "<i>Disk</i> 2000", 1000204886016, "", "sdc1 is mounted at /media/c"),
    NewDrive("sdd", "Stick", 8000000000, "", "")};
} // namespace

class DriveWindowTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void warns_data()
    {
        QTest::addColumn<int>("rev");
        QTest::addColumn<int>("disk");
        QTest::addColumn<QString>("warning"); // a part of it; "-" for none
        QTest::newRow("overwritten")
            << 1 << 2 << "overwrites everything on the hard disk <i>Disk</i> 2000, 1.0 TB, serial number Ssdc";
        QTest::newRow("in use") << 1 << 2 << "sdc1 is mounted at /media/c";
        QTest::newRow("no REV drive") << 3 << 2
                                      << "Stick, 8.0 GB, serial number Ssdd, sdd does not call itself an Iomega";
        QTest::newRow("one for both") << 1 << 1 << "cannot be both";
        QTest::newRow("a REV drive alone") << 1 << -1 << "-";
    }

    void warns()
    {
        QFETCH(int, rev);
        QFETCH(int, disk);
        QFETCH(QString, warning);
        DriveWindow window(drives);
        const QList<QListWidget*> lists = window.findChildren<QListWidget*>();
        QCOMPARE(lists.size(), 2);
        lists[0]->setCurrentRow(rev);
        lists[1]->setCurrentRow(disk);
        window.show();
        const QList<QLabel*> labels = window.findChildren<QLabel*>();
        const QString text = labels.last()->text();
        QVERIFY2(warning == "-" ? text.isEmpty() : text.contains(warning), qPrintable(text));
        QCOMPARE(labels.last()->textFormat(), Qt::PlainText);
    }

    /** By itself the REV drive is chosen; with the keyboard one gets past the running system's disk, not onto it. */
    void offersWhatCanBeChosen()
    {
        DriveWindow window(drives);
        window.show();
        const QList<QListWidget*> lists = window.findChildren<QListWidget*>();
        QCOMPARE(lists[0]->currentRow(), 1);
        QCOMPARE(lists[1]->selectedItems().size(), 0);
        QVERIFY(lists[0]->accessibleName().contains("/dev/hdb") && lists[1]->accessibleName().contains("/dev/hdc"));
        lists[1]->setFocus();
        QTest::keyClick(lists[1], Qt::Key_Home);
        QTest::keyClick(lists[1], Qt::Key_Space);
        const QList<QListWidgetItem*> chosen = lists[1]->selectedItems();
        QVERIFY(chosen.isEmpty() || lists[1]->row(chosen.first()) != 0);
    }
};

QTEST_MAIN(DriveWindowTest)
#include "drivewindowtest.moc"
