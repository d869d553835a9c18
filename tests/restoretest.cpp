// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "restore.h"
#include "restoreoutput.h"
#include "stand.h"
#include "utf8chunks.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QHeaderView>
#include <QProcess>
#include <QRegularExpression>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextEdit>
#include <QTreeWidget>

namespace {
const QByteArray partitionTable = "# partition table of /dev/hdc\nunit: sectors\n\n"
                                  "/dev/hdc1 : start=       63, size=  1028097, Id=83, bootable\n"
                                  "/dev/hdc2 : start=  1028160, size=  2056320, Id=82\n"
                                  "/dev/hdc3 : start=        0, size=        0, Id= 0\n"
                                  "/dev/hdc4 : start=  3084480, size=  1012095, Id= f\n"
                                  "/dev/hdc5 : start=  3084543, size=  1012000, Id=82\n"
                                  "/dev/hdc10 : start=  4096543, size=       32, Id= 5\n";
const QString names = "hdc1|hdc10|hdc2|hdc4|hdc5";
const QString noImages = "There aren't images on Rev!";
const QString noTable = "Can't find partition table file!";
const QString finished = "Information|Finish|Restore finished successfully!|OK";

void MakeDirectories(const QStringList& paths)
{
    for (const QString& path : paths)
        QVERIFY(QDir().mkpath("/mnt/rev/" + path));
}

void Store(const QString& serial, const QString& date, const QByteArray& table = partitionTable)
{
    WriteFile(QString("/mnt/rev/%1/%2/%1_%2_hdc.sf").arg(serial, date), table);
}
} // namespace

class RestoreTest : public DialogStand<Restore>
{
    Q_OBJECT

private:
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

    /** The paragraphs of the transcript, with "B:" before bold ones and "R:" before red ones. */
    QStringList Transcript()
    {
        QStringList lines;
        const QTextDocument* const document = Child<QTextEdit>(Output(), "txtOutput")->document();
        for (QTextBlock block = document->begin(); block.isValid(); block = block.next()) {
            QString line = block.text();
            if (!line.isEmpty() && block.begin().fragment().charFormat().fontWeight() == QFont::Bold)
                line.prepend("B:");
            if (!line.isEmpty() && block.begin().fragment().charFormat().foreground().color() == Qt::red)
                line.prepend("R:");
            lines.append(line);
        }
        return lines;
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
        const QString listed = "A|a|b|link / 20061231|20060615|20060102 / " + names;
        QCOMPARE(Listed(), listed);
        Press("btnMount");
        QCOMPARE(Listed(), QString(" /  / "));
        Press("btnMount");
        QCOMPARE(Listed(), listed);
    }

    void refusesTablesThatAreNone_data()
    {
        Columns<QString, QString>("attack", "error"); // "$f" is the set's partition-table file
        const char* const noFile = "a link, a device or a pipe, not a file";
        const char* const tooLong = "too long for what its name says";
        Row("a pipe", "mkfifo $f", noFile);
        Row("a link", "ln -s /etc/hostname $f", noFile);
        Row("a line without an end", "printf / >$f; truncate -s 8G $f", tooLong);
        Row("a long line", "printf '/%01048575d' 0 >$f", tooLong);
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
        Row("no date", "cmbSerial", "B", "", "A|B|C /  / " + names);
        Row("gone", "cmbSerial", "C", "Unable to read directory /mnt/rev/C!", "A|B|C /  / " + names);
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
        QCOMPARE(Listed(), "A|B / 2007|2006 / " + names);
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
        Row("type 5", QByteArray("/dev/hdc1 : start= 1, size= 2, Id= 5"), "on|1|2| 5|NO");
        Row("full fields", QByteArray("/dev/hdc1 : start=123456789, size=9876543210, Id=83"),
            "on|123456789|9876543210|83|NO");
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

    void leavesTheSetReadBefore()
    {
        Store("A", "2007", "/dev/hdc2 : start= 3, size= 4, Id=82\n");
        Store("B", "2007", "/dev/hdc2 : start= 3, size= 4, Id=83\n/dev/hdc3 : start= 7, size= 4, Id=82\n");
        Open();
        Pick("cmbSerial", "B");
        for (const QFileInfo& open : QDir("/proc/self/fd").entryInfoList(QDir::Files | QDir::System))
            QVERIFY(!open.symLinkTarget().startsWith("/mnt/rev")); // could not be unmounted
        commands.Add("mkswap");
        boxes.expected.append({finished});
        Press("btnStartRestore");
        QCOMPARE(commands.Calls().join(' '), QString("mkswap|-c|/dev/hdc3"));
    }

    void isCancelled()
    {
        Open();
        Press("btnCancelRestore");
        QVERIFY(dialog->isHidden() && mainWindow.isEnabled());
    }

    void restoresInTheOrderShown()
    {
        Store("A 1", "2007");
        Open();
        commands.Add("dd", "echo '<b>1+0</b> &amp;'; printf '\\342'");
        commands.Add("norvoRestorePT", "hold; printf 'a\\tb <i>' >&2; exit 1");
        commands.Add("norvoPartimageRestore",
            "[[ $2 == hdc1 ]] || exit 0; printf 'a\\303'; hold; printf 'b\\342' >&2; hold; printf '\\251'");
        commands.Add("mkswap", "[[ $2 == /dev/hdc2 ]]");
        ReportStandIn report;
        for (int section = 4; section >= 0; --section) // the first alone turns the order round
            QTest::mouseClick(List()->header()->viewport(), Qt::LeftButton, {},
                {List()->header()->sectionViewportPosition(section) + 5, 5});
        QCOMPARE(Listed(), QString("A 1 / 2007 / hdc5|hdc4|hdc2|hdc10|hdc1"));
        dialog->move(300, 200);
        commands.During("norvoRestorePT", [this, &report] {
            report.Listen(commands.dir.path());
            QCOMPARE(Output()->pos(), Middle(dialog.get(), Output()));
            QVERIFY(dialog->isHidden() && !dialog->isEnabled() && Output()->isVisible() && Output()->isEnabled());
            QVERIFY(!Output()->close() && Output()->isVisible());
        });
        commands.During("|hdc1|", [this] {
            QTRY_COMPARE(Transcript().last(), QString("a"));
            commands.During("|hdc1|", [this] {
                QTRY_COMPARE(Transcript().last(), QString("R:b"));
            });
        });
        boxes.expected.append({finished, Qt::Key_Return, [this] {
                                   QVERIFY(Output()->isVisible() && !Child(Output(), "btnClose")->isEnabled());
                               }});
        Press("btnStartRestore");
        const QString partimage = "norvoPartimageRestore|/mnt/rev/A 1/2007|";
        const QStringList expected = {"dd|if=A 1_2007_hdc.mbr|of=/dev/hdc", "norvoRestorePT|hdc|A 1_2007_hdc.sf",
            partimage + "hdc10|A 1_2007_hdc10.bz2.000", partimage + "hdc1|A 1_2007_hdc1.bz2.000", "mkswap|-c|/dev/hdc2",
            "mkswap|-c|/dev/hdc5"};
        QCOMPARE(commands.Calls(), expected);
        QCOMPARE(ReadFile(commands.dir.filePath("directories")), QByteArray("/mnt/rev/A 1/2007\n").repeated(6));
        QStringList transcript = {"B:dd if=A 1_2007_hdc.mbr of=/dev/hdc ", "", "<b>1+0</b> &amp;", "", "\ufffd", "", "",
            "B:norvoRestorePT hdc A 1_2007_hdc.sf ", "", "R:a\tb <i>", "", "",
            "B:norvoPartimageRestore /mnt/rev/A 1/2007 hdc10 A 1_2007_hdc10.bz2.000 ", "", "", "",
            "B:norvoPartimageRestore /mnt/rev/A 1/2007 hdc1 A 1_2007_hdc1.bz2.000 ", "", "a", "R:b", "\u00e9",
            "R:\ufffd", "", "", "", "", "B:mkswap -c /dev/hdc2 ", "", "", "", "B:mkswap -c /dev/hdc5 ", "", "", "",
            "B:norvoRestoreGrub ", "", "R:norvoRestoreGrub: can't be started; is this command installed?", "", ""};
        QCOMPARE(Transcript(), transcript);
        QStringList said = report.Heard();
        QVERIFY(
            said.first().contains(R"("boot":true,"parts":["hdc10","hdc1"],"run":"restore","swap":["hdc2","hdc5"])"));
        said.replaceInStrings(QRegularExpression(".*\"part\":\"(.*)\",.*\"result\":\"(\\w+)\".*"), "\\1 \\2");
        QCOMPARE(said.mid(1),
            QStringList({"hdc2 begun", "hdc2 done", "hdc5 begun",
                R"(hdc5","reason":"mkswap has failed; its words are in the output window failed)",
                R"({"over":true})"}));
        Child(Output(), "btnClose")->click();
        QVERIFY(Output()->isHidden() && dialog->isHidden() && dialog->isEnabled() && mainWindow.isEnabled());
        QVERIFY(Transcript().join("").isEmpty() && !Child(Output(), "btnClose")->isEnabled());
    }

    /** From a REV disk that has been taken out meanwhile. */
    void restoresWithNothingChosen()
    {
        Store("A", "2007", "/dev/hdc1 : start= 1, size= 2, Id=83\n/dev/hdc2 : start= 3, size= 4, Id=82\n");
        Open();
        commands.Add("dd");
        commands.Add("norvoRestorePT");
        QVERIFY(QDir("/mnt/rev/A").removeRecursively());
        List()->topLevelItem(0)->setCheckState(0, Qt::Unchecked);
        Child<QCheckBox>(dialog.get(), "chkSwap")->setChecked(false);
        Child<QCheckBox>(dialog.get(), "chkGrub")->setChecked(false);
        boxes.expected.append({finished});
        Press("btnStartRestore");
        QCOMPARE(Transcript().filter("B:").size(), 2);
        const QString gone = "R:%1: can't be started; /mnt/rev/A/2007/ is not there any more; is the REV disk still in "
                             "its drive, and mounted?";
        QCOMPARE(Transcript().filter("R:"), QStringList({gone.arg("dd"), gone.arg("norvoRestorePT")}));
        QVERIFY(Output()->close() && dialog->isHidden() && mainWindow.isEnabled());
    }

    void showsTheTranscript()
    {
        const QPalette bright = QApplication::palette();
        QApplication::setPalette(QPalette(Qt::white, Qt::black, Qt::white, Qt::black, Qt::gray, Qt::white, Qt::black));
        RestoreOutput window(&mainWindow, "Restore Output", Qt::Window);
        window.show();
        auto* const view = Child<QTextEdit>(&window, "txtOutput");
        QCOMPARE(view->palette().color(QPalette::Base), QColor(Qt::white));
        QCOMPARE(view->palette().color(QPalette::Text), QColor(Qt::black));
        QApplication::setPalette(bright);
        QVERIFY(view->isReadOnly() && view->lineWrapMode() == QTextEdit::NoWrap);
        for (int i = 0; i < 100; ++i)
            window.appendOutput("line");
        QScrollBar* const bar = view->verticalScrollBar();
        QVERIFY(bar->maximum() > 0 && bar->value() == bar->maximum());
        bar->setValue(3);
        window.appendError("line");
        QCOMPARE(bar->value(), 3);
    }

    void decodesChunks_data()
    {
        Columns<QByteArrayList, QString>("chunks", "texts");
        Row("two bytes", QByteArrayList{"a\xc3", "\xa9\xc3\xa9"}, "a|\u00e9\u00e9|");
        Row("three bytes", QByteArrayList{"\xe2", "\x82", "\xac"}, "||\u20ac|");
        Row("four bytes", QByteArrayList{"\xf0\x9f\x98", "\x80"}, "|\U0001f600|");
        Row("not UTF-8", QByteArrayList{"\xff\x80", "a\xe9-"}, "\ufffd\ufffd|a\ufffd-|");
        Row("end in a character", QByteArrayList{"a\xe2"}, "a|\ufffd");
        Row("NUL", QByteArrayList{QByteArray("a\0b", 3), QByteArray("\xc3\0", 2), "c"}, "a|\ufffd|c|");
    }

    void decodesChunks()
    {
        QFETCH(QByteArrayList, chunks);
        Utf8Chunks decoder;
        QString texts;
        for (const QByteArray& chunk : chunks)
            texts += decoder.Decode(chunk) + '|';
        QTEST(texts + decoder.Rest(), "texts");
    }
};

QTEST_MAIN(RestoreTest)
#include "restoretest.moc"
