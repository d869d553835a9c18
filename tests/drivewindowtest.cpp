// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "drivewindow.h"
#include "diskimages.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>

namespace {
Drive NewDrive(const char* name, const char* model, uint64_t bytes, const char* system = "", const char* use = "")
{
    Drive drive;
    drive.name = name;
    drive.identity = {model, std::string("S") + name, "", ""};
    drive.bytes = bytes;
    drive.system = std::string(system);
    if (*use != '\0')
        drive.uses = {std::string(use)};
    return drive;
}

std::vector<Drive> NewDrives()
{
    std::vector<Drive> drives = {NewDrive("sda", "Fast SSD 870", 500107862016, "sda1 is mounted at /"),
        NewDrive("sdb", "Iomega RRD", 35000000000),
        NewDrive("sdc", "<i>Disk</i> 2000", 1000204886016, "", "sdc1 is mounted at /media/c"),
        NewDrive("sdd", "Stick", 8000000000), NewDrive("sde", "Nameless", 8000000000)};
    drives[3].identity.place = "p1";
    drives[4].identity.serial = "";
    drives.push_back(drives[3]); // its twin
    drives[5].identity.place = "p2";
    return drives;
}

/** Its REV drive is the second one, with this image file for a disk; none where the path is empty. */
DriveWindow::Machine NewMachine(const std::string& image = {})
{
    return {NewDrives, [image](const Drive&) {
                return Device::OfFile(image);
            }};
}
} // namespace

class DriveWindowTest : public QObject
{
    Q_OBJECT

    QTemporaryDir folder{Scratch()};

    static QStringList Texts(const DriveWindow& window)
    {
        QStringList texts;
        for (const QLabel* label : window.findChildren<QLabel*>()) {
            texts.append(label->text());
            if (label->wordWrap() && label->textFormat() != Qt::PlainText)
                qFatal("what a drive calls itself could be taken for markup");
        }
        return texts;
    }

    static QPushButton* Button(const QWidget& window, const QString& text)
    {
        for (QPushButton* button : window.findChildren<QPushButton*>()) {
            if (button->text().remove('&') == text)
                return button;
        }
        qFatal("no button %s", qPrintable(text));
    }

    /** A disk with what the words say, as "64M ext4 label" or "64M dos". */
    std::string NewDisk(const QString& words) const
    {
        const std::string path = NewFile(folder, "disk", "");
        const QString size = words.section(' ', 0, 0);
        Run({"truncate", "-s", size.toStdString(), path});
        const std::string kind = words.section(' ', 1, 1).toStdString();
        const std::string label = words.section(' ', 2).toStdString();
        if (kind == "ext4")
            Run({"mkfs.ext4", "-q", "-L", label, path});
        else if (kind == "udf")
            Run({"mkudffs", "--label=" + label, path});
        else if (kind == "dos")
            Run({"bash", "-c",
                "printf '8M,8M\\n8M\\n' | sfdisk -q -X dos \"$0\"; mkfs.vfat -n DATA --offset 16384 $0 8192", path});
        else if (kind == "VMFS")
            Run({"bash", "-c", "printf '\\x5e\\xf1\\xab\\x2f' | dd of=$0 bs=1M seek=2 conv=notrunc status=none", path});
        else if (kind == "two") // a Btrfs leaves the beginning of an older swap area
            Run({"bash", "-c",
                "mkswap -q $0; dd if=$0 of=$0.swap bs=4096 count=1 status=none; mkfs.btrfs -q -f $0;"
                "dd if=$0.swap of=$0 conv=notrunc status=none",
                path});
        return path;
    }

private Q_SLOTS:
    void warns_data()
    {
        QTest::addColumn<int>("rev");
        QTest::addColumn<int>("disk");
        QTest::addColumn<bool>("byPlace");
        QTest::addColumn<QString>("text"); // a part of one
        QTest::addColumn<bool>("canBeTaken");
        const auto row = [](const char* name, int rev, int disk, bool byPlace, const char* text, bool canBeTaken) {
            QTest::newRow(name) << rev << disk << byPlace << text << canBeTaken;
        };
        row("overwritten", 1, 2, false, "overwrites everything on the hard disk <i>Disk</i> 2000, 1.0 TB, serial",
            true);
        row("in use", 1, 2, false, "sdc1 is mounted at /media/c", true);
        row("no REV drive", 3, -1, true, "Stick, 8.0 GB, serial number Ssdd, sdd does not call itself an Iomega", true);
        row("a REV drive alone", 1, -1, false, "", true);
        row("none", -1, -1, false, "Choose a drive", false);
        row("one for both", 1, 1, false, "cannot be both", false);
        row("nothing to know it by", 1, 4, false, "neither a serial number nor", false);
        row("no option of a command", 1, 4, false, "with the box below", false);
        row("no place either", 1, 4, true, "not known where it is connected", false);
        row("twins", 1, 3, false, "several drives are what was chosen", false);
    }

    void warns()
    {
        QFETCH(int, rev);
        QFETCH(int, disk);
        QFETCH(bool, byPlace);
        QFETCH(QString, text);
        DriveWindow window(NewMachine());
        const QList<QListWidget*> lists = window.findChildren<QListWidget*>();
        QCOMPARE(lists.size(), 2);
        lists[0]->setCurrentRow(rev);
        lists[1]->setCurrentRow(disk);
        window.findChild<QCheckBox*>()->setChecked(byPlace);
        window.show();
        const QStringList texts = Texts(window);
        QVERIFY2(!texts.filter(text).isEmpty(), qPrintable(texts.join('|')));
        QTEST(window.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok)->isEnabled(), "canBeTaken");
    }

    /** By itself the REV drive is chosen; with the keyboard one gets past the running system's disk, not onto it. */
    void offersWhatCanBeChosen()
    {
        DriveWindow window(NewMachine());
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
        lists[1]->setCurrentRow(2);
        Button(window, "Look again")->click();
        QCOMPARE(lists[1]->currentRow(), 2);
        lists[0]->setCurrentRow(2);
        QVERIFY(!Button(window, "Format disk...")->isEnabled());
        QVERIFY(!Texts(window).filter("In use: sdc1 is mounted at /media/c").isEmpty());
    }

    void tellsWhatIsOnTheDisk_data()
    {
        QTest::addColumn<QString>("disk");
        QTest::addColumn<QString>("state"); // what stands beside the drive
        QTest::addColumn<QString>("lost");  // a part of the question; nothing can be formatted where it is empty
        const auto row = [](const char* disk, const QString& state, const char* lost) {
            QTest::newRow(disk) << disk << state << lost;
        };
        row("", "There is no disk in this drive, or it cannot be read. Put one in, then look again.", "");
        row("64M", "Not formatted.", "Nothing that is known here is on it. All that it holds will be lost.");
        row("64M udf A", "Formatted with UDF: \"A\".", "All of this will be lost:\nudf \"A\", 67.1 MB");
        row("64M ext4 <b>\n</b>", "Not formatted with UDF. On it: ext4 \"<b>\\012</b>\", 67.1 MB",
            "\next4 \"<b>\\012</b>\", 67.1 MB");
        row("64M dos", "Not formatted with UDF. On it: partition 1: vfat \"DATA\", 8.4 MB",
            "lost:\npartition 1: vfat \"DATA\", 8.4 MB\npartition 2: contents that are not known here, ");
        row("128M two", "Not formatted with UDF. On it: remains of several file systems", "remains of several");
    }

    /** The question names the drive and what is lost; Return loses nothing. */
    void tellsWhatIsOnTheDisk()
    {
        QFETCH(QString, disk);
        QFETCH(QString, lost);
        const std::string image = disk.isEmpty() ? "" : NewDisk(disk);
        DriveWindow window(NewMachine(image));
        window.show();
        const QStringList texts = Texts(window);
        QFETCH(QString, state);
        QVERIFY2(texts.contains(state), qPrintable(texts.join('|')));
        QPushButton* const format = Button(window, "Format disk...");
        QCOMPARE(format->isEnabled(), !lost.isEmpty());
        if (lost.isEmpty())
            return;
        QString question;
        QTimer::singleShot(0, [&question] {
            auto* const box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            question = box->textFormat() == Qt::PlainText ? box->text() : "";
            QTest::keyClick(box, Qt::Key_Return);
        });
        const std::string before = Content(image);
        format->click();
        QVERIFY2(question.contains("Iomega RRD, 35.0 GB, serial number Ssdb") && question.contains(lost),
            qPrintable(question));
        QVERIFY(Content(image) == before);
    }

    void formats_data()
    {
        QTest::addColumn<QString>("disk");
        QTest::addColumn<QString>("meanwhile"); // put into the drive while the question is there
        QTest::addColumn<QString>("answer");    // what the last box says; a file can't be mounted
        QTest::addColumn<QString>("type");      // of what is on the disk then, as blkid tells it
        const auto row = [](const char* name, const QString& disk, const QString& meanwhile, const QString& answer,
                             const QString& type) {
            QTest::newRow(name) << disk << meanwhile << answer << type;
        };
        row("never formatted", "64M", "", "is formatted, but this system cannot mount it", "udf");
        row("partitions", "64M dos", "", "is formatted, but", "udf");
        row("remains that mkudffs leaves", "64M VMFS", "", "is formatted, but", "udf");
        row("exchanged", "64M", "64M ext4 B", "there is another disk in it", "ext4");
        row("far too small", "16K", "", "and what was on it is lost. Try another disk. mkudffs: Error: Not enough", "");
        row("too small", "64K", "", "no UDF file system is found on the disk after", "");
    }

    void formats()
    {
        QFETCH(QString, disk);
        QFETCH(QString, meanwhile);
        QFETCH(QString, answer);
        const std::string image = NewDisk(disk);
        DriveWindow window(NewMachine(image));
        window.show();
        QString said;
        QTimer::singleShot(0, [&] {
            if (!meanwhile.isEmpty())
                NewDisk(meanwhile);
            Button(*QApplication::activeModalWidget(), "Format")->click();
        });
        QTimer reader;
        connect(&reader, &QTimer::timeout, this, [&said] {
            auto* const box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (box == nullptr || box->icon() != QMessageBox::Critical)
                return;
            said = box->text();
            box->button(QMessageBox::Ok)->click();
        });
        reader.start(50);
        Button(window, "Format disk...")->click();
        QVERIFY2(said.contains(answer), qPrintable(said));
        std::string type;
        RunProgram({"blkid", "-p", "-o", "value", "-s", "TYPE", image}, &type);
        QTEST(QString::fromStdString(type).trimmed(), "type");
        QVERIFY(window.isEnabled() && Button(window, "Look again")->isEnabled());
    }
};

QTEST_MAIN(DriveWindowTest)
#include "drivewindowtest.moc"
