// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "restorestand.h"

#include <QHeaderView>
#include <QProcess>
#include <QScrollBar>

namespace {
const QString noImages = "There aren't images on Rev!";
const QString noTable = "Can't find partition table file!";

void MakeDirectories(const QStringList& paths)
{
    for (const QString& path : paths)
        QVERIFY(QDir().mkpath("/mnt/rev/" + path));
}
} // namespace

class RestoreTest : public RestoreStand
{
    Q_OBJECT

private:
    /** Of the part of the list that shows an item. */
    QRgb DarkestColour(const QTreeWidgetItem* item)
    {
        const QImage image = List()->viewport()->grab(List()->visualItemRect(item)).toImage();
        QRgb darkest = qRgb(255, 255, 255);
        for (int x = 0; x < image.width(); ++x)
            for (int y = 0; y < image.height(); ++y)
                if (qGray(image.pixel(x, y)) < qGray(darkest))
                    darkest = image.pixel(x, y);
        return darkest;
    }

private Q_SLOTS:
    void offersWhatIsStored()
    {
        for (const char* date : {"20060102", "20061231", "20060615"})
            Store("A", date);
        MakeDirectories({"b", "a", "lost+found", ".hidden", "A/lost+found", "A/.x"});
        WriteFile("/mnt/rev/file", {});
        QVERIFY(QFile::link("A", "/mnt/rev/link"));
        Open();
        const QString listed = "A|a|b|link / 20061231|20060615|20060102 / " + partitionNames;
        QCOMPARE(Listed(), listed);
        Press("btnMount");
        QCOMPARE(Listed(), QString(" /  / "));
        Press("btnMount");
        QCOMPARE(Listed(), listed);
        Press("btnCancelRestore");
        QVERIFY(dialog->isHidden() && mainWindow.isEnabled());
    }

    void refusesTablesThatAreNone_data()
    {
        Columns<QString, QString>("attack", "error"); // "$f" is the set's partition-table file
        const char* const noFile = "a link, a device or a pipe, not a file";
        const char* const tooLong = "too long for what its name says";
        Row("a pipe", "mkfifo $f", noFile);
        Row("a link", "ln -s /etc/hostname $f", noFile);
        Row("a line without an end", "printf / >$f; truncate -s 2M $f", tooLong);
        Row("a long file", "truncate -s 257M $f", tooLong);
        Row("long lines", "printf '/%0600000d\n/%0600000d\n' 0 0 >$f", tooLong);
        Row("many lines", "for ((i = 0; i < 1025; ++i)); do echo \"/dev/hdc$i : start= 1, size= 1\"; done >$f",
            tooLong);
        Row("no table, but a long boot sector", ": >$f; truncate -s 513 ${f%sf}mbr", tooLong);
    }

    void refusesTablesThatAreNone()
    {
        QFETCH(QString, attack);
        MakeDirectories({"A/2007"});
        const QString script = "PATH=/bin; f=/mnt/rev/A/2007/A_2007_hdc.sf; " + attack;
        QCOMPARE(QProcess::execute("/bin/bash", {"-c", script}), 0);
        commands.Add("dd");
        QFETCH(QString, error);
        boxes.ExpectError(
            QString("/mnt/rev/A/2007/A_2007_hdc.%1 is %2. Nothing was done. Delete it, or use another disk.")
                .arg(attack.contains("mbr") ? "mbr" : "sf", error));
        Open();
        QCOMPARE(Listed().section(" / ", 2), QString());
        boxes.ExpectError(attack.contains("mbr") ? "" : noImages);
        Press("btnStartRestore");
        QVERIFY(commands.Calls().isEmpty());
    }

    void restoresNoOtherDisk()
    {
        for (const QByteArray name : {"../etc/victim", "sda1", "hdc1x", "hdd"}) {
            for (const QByteArray type : {"82", "83"}) {
                Store("A", "2007", "/dev/" + name + " : start= 1, size= 99, Id=" + type + "\n");
                Open();
                commands.Add("dd");
                boxes.ExpectError("The set's partition table names /dev/" + name
                    + ", which is not on the hard disk. Nothing was done. Use another set.");
                Press("btnStartRestore");
                QVERIFY(commands.Calls().isEmpty());
            }
        }
    }

    void offersNothing()
    {
        for (const QString directory : {"lost+found", "A/.x", "A/20070302"}) {
            MakeDirectories({directory});
            boxes.ExpectError(directory == "A/20070302" ? noTable : "");
            Open();
            QCOMPARE(Listed(), QString(" /  / "));
            boxes.ExpectError(noImages);
            Press("btnStartRestore");
            QVERIFY(dialog->isVisible() && dialog->isEnabled() && Output()->isHidden());
        }
    }

    void stopsAtAPickThatFails_data()
    {
        Columns<QString, QString, QString, QString>("box", "pick", "error", "listed");
        Row("no date", "cmbSerial", "B", "", "A|B|C /  / " + partitionNames);
        Row("gone", "cmbSerial", "C", "Unable to read directory /mnt/rev/C!", "A|B|C /  / " + partitionNames);
        Row("no table", "cmbDate", "2006", noTable, "A|B|C / 2007|2006 / ");
    }

    void stopsAtAPickThatFails()
    {
        QFETCH(QString, box);
        QFETCH(QString, pick);
        QFETCH(QString, error);
        Store("A", "2007");
        MakeDirectories({"A/2006", "B", "C/2007"});
        Open();
        QVERIFY(QDir("/mnt/rev/C").removeRecursively());
        boxes.ExpectError(error);
        Pick(box, pick);
        Pick("cmbSerial", "A");
        Pick("cmbDate", "2007");
        QTEST(Listed(), "listed");
        boxes.ExpectError(noImages);
        Press("btnStartRestore");
        dialog->Init(&flag);
        QCOMPARE(Listed(), "A|B / 2007|2006 / " + partitionNames);
        flag = false;
        boxes.ExpectError("Rev is not mounted!");
        Press("btnStartRestore");
    }

    void listsPartitions_data()
    {
        // details: with "on" or "off" for a row that can be checked or not
        Columns<QByteArray, QString>("line", "details");
        const QByteArray plain = "/dev/hdc1 : start= 1, size= 2, Id=83", x99999(99999, 'x');
        Row("bootable", QByteArray("/dev/hdc1 : start=       63, size=  1028097, Id=83, bootable"),
            "on|      63| 1028097|83|YES");
        Row("swap", QByteArray("/dev/hdc1 : start= 1, size= 2, Id=82"), "off|1|2|Swap|NO");
        Row("extended", QByteArray("/dev/hdc1 : start= 1, size= 2, Id= f"), "off|1|2|Extended|NO");
        Row("empty slot", QByteArray("/dev/hdc3 : start=        0, size=        0, Id= 0"), "");
        Row("no number", QByteArray("/dev/hdc1 : start= 1, size= many, Id=83"), "");
        Row("no fields", QByteArray("/dev/hdc1"), "");
        Row("no type", QByteArray("/dev/hdc1 : start= 1, size= 2"), "on|1|2||NO");
        Row("blank at the end", plain + ", bootable ", "on|1|2|83|NO");
        Row("equals signs", QByteArray("/dev/hdc1 : start== 1, size=a= 2, Id=83"), "on|1|2|83|NO");
        Row("two separators", plain + " : more", "on|1|2|83|NO");
        Row("line ends of DOS", "#\r\n" + plain + ", bootable\r\n", "on|1|2|83|YES");
        Row("not UTF-8", "\xe4\xff\n" + plain + ", \xe4", "on|1|2|83|NO");
        Row("long", "# " + x99999 + '\n' + plain + ", bootable," + x99999, "on|1|2|83|YES");
    }

    void listsPartitions()
    {
        QFETCH(QByteArray, line);
        Store("A", "2007", line);
        Open();
        QString details;
        if (const QTreeWidgetItem* const row = List()->topLevelItem(0)) {
            QVERIFY(row->text(0) == "hdc1" && row->isExpanded() && row->child(0)->text(0) == "Details:");
            const QVariant box = row->data(0, Qt::CheckStateRole); // none where it is not valid
            QCOMPARE(box, QVariant(row->isDisabled() ? Qt::Unchecked : Qt::Checked));
            details = row->isDisabled() ? "off" : "on";
            for (int column = 1; column < 5; ++column)
                details += '|' + row->child(0)->text(column);
        }
        QTEST(details, "details");
        QVERIFY(List()->topLevelItemCount() <= 1 && Listed().startsWith("A / 2007 / "));
    }

    void showsTheListWithoutScrollingAside()
    {
        QByteArray lines;
        for (int n = 1; n < 10; ++n)
            lines += "/dev/hdc" + QByteArray::number(n) + " : start=5860533168, size=5860533168, Id=8"
                + (n == 1 ? "2\n" : "3, bootable\n");
        Store("A", "2007", lines);
        Open();
        QVERIFY(List()->verticalScrollBar()->isVisible() && !List()->horizontalScrollBar()->isVisible());
        for (int column = 0; column < 5; ++column)
            QCOMPARE(List()->header()->sectionResizeMode(column), QHeaderView::ResizeToContents);
        const QTreeWidgetItem* const swap = List()->topLevelItem(0);
        QCOMPARE(DarkestColour(swap->child(0)), DarkestColour(List()->topLevelItem(1)->child(0)));
        QVERIFY(qGray(DarkestColour(swap)) > qGray(DarkestColour(swap->child(0)))); // which is not disabled
    }
};

QTEST_MAIN(RestoreTest)
#include "restoretest.moc"
