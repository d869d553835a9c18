// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "restore.h"
#include "restoreoutput.h"
#include "stand.h"
#include "utf8chunks.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QHeaderView>
#include <QTextBlock>
#include <QTextEdit>
#include <QTreeWidget>
#include <memory>

namespace {
const QByteArray partitionTable = "# partition table of /dev/hdc\nunit: sectors\n\n"
                                  "/dev/hdc1 : start=       63, size=  1028097, Id=83, bootable\n"
                                  "/dev/hdc2 : start=  1028160, size=  2056320, Id=82\n"
                                  "/dev/hdc3 : start=        0, size=        0, Id= 0\n"
                                  "/dev/hdc4 : start=  3084480, size=  1012095, Id= f\n"
                                  "/dev/hdc5 : start=  3084543, size=  1012000, Id=82\n"
                                  "/dev/hdc10 : start=  4096543, size=       32, Id= 5\n";
const QString noImages = "There aren't images on Rev!";
const QString noTable = "Can't find partition table file!";
} // namespace

class RestoreTest : public Stand
{
    Q_OBJECT

private:
    QWidget mainWindow;
    std::unique_ptr<Restore> dialog;
    RestoreOutput* output = nullptr;
    bool flag = true;

    /** Shows a new dialog over the disabled main window. */
    void Open()
    {
        mainWindow.setEnabled(false);
        dialog = std::make_unique<Restore>(&mainWindow, "Restore", Qt::Window);
        output = Child<RestoreOutput>(dialog.get(), "Restore Output");
        dialog->Init(&flag);
        dialog->show();
    }

    static void Store(const QString& serial, const QString& date, const QByteArray& table = partitionTable)
    {
        WriteFile(QString("/mnt/rev/%1/%2/%1_%2_hdc.sf").arg(serial, date), table);
    }

    /** What a combo box offers, as "first|second". */
    QString Choice(const QString& box)
    {
        auto* const combo = Child<QComboBox>(dialog.get(), box);
        QStringList texts;
        for (int i = 0; i < combo->count(); ++i)
            texts.append(combo->itemText(i));
        return texts.join('|');
    }

    /** Does what the choice of an entry by the operator does. */
    void Pick(const QString& box, const QString& text)
    {
        auto* const combo = Child<QComboBox>(dialog.get(), box);
        combo->setCurrentText(text);
        Q_EMIT combo->textActivated(text);
    }

    QTreeWidget* List()
    {
        return Child<QTreeWidget>(dialog.get(), "lstPartitions");
    }

    /** The partitions listed, as "hdc1 x|start|size|type|bootable", x for checked, - for disabled, each open. */
    QStringList Partitions()
    {
        QStringList rows;
        for (int i = 0; i < List()->topLevelItemCount(); ++i) {
            const QTreeWidgetItem* const item = List()->topLevelItem(i);
            QString row = item->text(0) + (item->isDisabled() ? " -" : " ");
            if (item->checkState(0) == Qt::Checked)
                row += 'x';
            if (item->childCount() == 1 && item->isExpanded() && item->child(0)->text(0) == "Details:") {
                for (int column = 1; column < 5; ++column)
                    row += '|' + item->child(0)->text(column);
            }
            rows.append(row);
        }
        return rows;
    }

    /** The paragraphs of the transcript, with "B:" before bold ones and "R:" before red ones. */
    QStringList Transcript()
    {
        QStringList lines;
        for (QTextBlock block = Child<QTextEdit>(output, "txtOutput")->document()->begin(); block.isValid();
             block = block.next()) {
            const QTextCharFormat format
                = block.text().isEmpty() ? QTextCharFormat() : block.begin().fragment().charFormat();
            const QString color = format.foreground().color() == Qt::red ? "R:" : "";
            lines.append((format.fontWeight() == QFont::Bold ? "B:" : color) + block.text());
        }
        return lines;
    }

private Q_SLOTS:
    void offersWhatIsStored()
    {
        for (const char* date : {"20060102", "20061231", "20060615"})
            Store("A", date);
        for (const char* directory : {"b", "a", "lost+found", ".hidden", "A/lost+found", "A/.x"})
            QVERIFY(QDir().mkpath(QString("/mnt/rev/") + directory));
        WriteFile("/mnt/rev/file", {});
        QVERIFY(QFile::link("A", "/mnt/rev/link"));
        Open();
        QCOMPARE(Choice("cmbSerial"), QString("A|a|b|link"));
        QCOMPARE(Choice("cmbDate"), QString("20061231|20060615|20060102"));
        QCOMPARE(Partitions().size(), 5);
        QCOMPARE(Led(dialog.get()), QString("green"));
        Press(dialog.get(), "btnMount");
        QVERIFY(!flag);
        QCOMPARE(Choice("cmbSerial") + Choice("cmbDate") + Partitions().join(""), QString());
        QCOMPARE(Led(dialog.get()), QString("red"));
        Press(dialog.get(), "btnMount");
        QCOMPARE(Choice("cmbSerial"), QString("A|a|b|link"));
    }

    void offersNothing_data()
    {
        QTest::addColumn<QString>("directory");
        QTest::addColumn<QString>("error");
        QTest::newRow("empty disk") << ""
                                    << "";
        QTest::newRow("lost+found") << "lost+found"
                                    << "";
        QTest::newRow("no date") << "A/.x"
                                 << "";
        QTest::newRow("no partition table") << "A/20070302" << noTable;
    }

    void offersNothing()
    {
        QFETCH(QString, directory);
        QFETCH(QString, error);
        QVERIFY(QDir().mkpath("/mnt/rev/" + directory));
        boxes.ExpectError(error);
        Open();
        QCOMPARE(Choice("cmbSerial") + Choice("cmbDate") + Partitions().join(""), QString());
        boxes.ExpectError(noImages);
        Press(dialog.get(), "btnStartRestore");
        QVERIFY(dialog->isVisible() && dialog->isEnabled() && output->isHidden());
    }

    void stopsAtAPickThatFails_data()
    {
        QTest::addColumn<QStringList>("pick");
        QTest::addColumn<QString>("error");
        QTest::addColumn<QString>("dates");
        QTest::addColumn<int>("partitions");
        QTest::newRow("no date") << QStringList{"cmbSerial", "B"} << ""
                                 << "" << 5;
        QTest::newRow("gone") << QStringList{"cmbSerial", "C"} << "Unable to read directory /mnt/rev/C!"
                              << "" << 5;
        QTest::newRow("no table") << QStringList{"cmbDate", "2006"} << noTable << "2007|2006" << 0;
    }

    void stopsAtAPickThatFails()
    {
        QFETCH(QStringList, pick);
        QFETCH(QString, error);
        Store("A", "2007");
        for (const char* directory : {"A/2006", "B", "C/2007"})
            QVERIFY(QDir().mkpath(QString("/mnt/rev/") + directory));
        Open();
        QVERIFY(QDir("/mnt/rev/C").removeRecursively());
        boxes.ExpectError(error);
        Pick(pick.first(), pick.last());
        Pick("cmbSerial", "A");
        Pick("cmbDate", "2007");
        QTEST(Choice("cmbDate"), "dates");
        QFETCH(int, partitions);
        QCOMPARE(Partitions().size(), partitions);
        boxes.ExpectError(noImages);
        Press(dialog.get(), "btnStartRestore");
        dialog->Init(&flag);
        QCOMPARE(Partitions().size(), 5);
        flag = false;
        boxes.ExpectError("Rev is not mounted!");
        Press(dialog.get(), "btnStartRestore");
        flag = true;
    }

    void listsPartitions_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<QString>("listed");
        const auto row = [](const char* name, const QByteArray& line, const QString& listed) {
            QTest::newRow(name) << line << listed;
        };
        const QByteArray x99999(99999, 'x');
        row("bootable", "/dev/hdc1 : start=       63, size=  1028097, Id=83, bootable",
            "hdc1 x|      63| 1028097|83|YES");
        row("swap", "/dev/hdc2 : start=  1028160, size=  2056320, Id=82", "hdc2 -| 1028160| 2056320|Swap|NO");
        row("extended", "/dev/hdc4 : start=  3084480, size=  1012095, Id= f", "hdc4 -| 3084480| 1012095|Extended|NO");
        row("other extended", "/dev/hdc4 : start= 1, size= 2, Id= 5", "hdc4 x|1|2| 5|NO");
        row("empty slot", "/dev/hdc3 : start=        0, size=        0, Id= 0", "");
        row("full fields", "/dev/hdc1 : start=123456789, size=987654321, Id=83", "hdc1 x|123456789|987654321|83|NO");
        row("beyond 32 bits", "/dev/hdc1 : start= 1, size= 5000000000, Id=83", "hdc1 x|1|5000000000|83|NO");
        row("no number", "/dev/hdc1 : start= 1, size= many, Id=83", "");
        row("no fields", "/dev/hdc1", "");
        row("no type", "/dev/hdc1 : start= 1, size= 2", "hdc1 x|1|2||NO");
        row("no name", "/dev/ : start= 1, size= 2, Id=83", "");
        row("blank behind bootable", "/dev/hdc1 : start= 1, size= 2, Id=83, bootable ", "hdc1 x|1|2|83|NO");
        row("two separators", "/dev/hdc1 : start= 1, size= 2, Id=83 : more", "hdc1 x|1|2|83|NO");
        row("carriage return", "/dev/hdc1 : start= 1, size= 2, Id=82\r", "hdc1 -|1|2|Swap|NO");
        row("not UTF-8", "\xe4\xff\n/dev/hdc1 : start= 1, size= 2, Id=83, \xe4", "hdc1 x|1|2|83|NO");
        row("long", "# " + x99999 + "\n/dev/hdc1 : start= 1, size= 2, Id=83, bootable," + x99999, "hdc1 x|1|2|83|YES");
        row("no partition line", "", "");
    }

    void listsPartitions()
    {
        QFETCH(QByteArray, line);
        Store("A", "2007", line);
        Open();
        QTEST(Partitions().join('\n'), "listed");
        QCOMPARE(Choice("cmbDate"), QString("2007"));
        partitionData untouched{"hdc1", "1", "2", "83", true};
        dialog->ParsePartitionLine(" /dev/hdc2 : start= 3, size= 4, Id=82", untouched);
        QVERIFY(untouched.partition == "hdc1" && untouched.type == "83" && untouched.bootable);
    }

    void restoresInTheOrderShown()
    {
        Store("A 1", "2007");
        Open();
        commands.Add("dd", Commands::Print("<b>1+0</b> &amp;\n"));
        commands.Add("norvoRestorePT", "hold\n" + Commands::Print("a\tb <i>") + ">&2; exit 1");
        commands.Add("norvoPartimageRestore", "if [[ $2 == hdc1 ]]; then printf 'a\\303'; hold; printf '\\251'; fi");
        commands.Add("mkswap");
        QHeaderView* const header = List()->header();
        for (int section = 4; section >= 0; --section) // the first alone turns the order round
            QTest::mouseClick(header->viewport(), Qt::LeftButton, {},
                {header->sectionViewportPosition(section) + 5, header->height() / 2});
        QCOMPARE(Partitions().first().left(5), QString("hdc5 "));
        bool closed = true;
        commands.During("norvoRestorePT", [&] {
            QVERIFY(dialog->isHidden() && !dialog->isEnabled() && output->isVisible() && output->isEnabled());
            closed = output->close();
        });
        commands.During("norvoPartimageRestore|/mnt/rev/A 1/2007|hdc1", [this] {
            QTRY_COMPARE(Transcript().last(), QString("a"));
        });
        boxes.Expect("Information|Finish|Restore finished successfully!|OK", Qt::Key_Return, [this] {
            QVERIFY(output->isVisible() && !Child(output, "btnClose")->isEnabled());
        });
        Press(dialog.get(), "btnStartRestore");

        QVERIFY(!closed && output->isVisible());
        QCOMPARE(commands.Calls(),
            QStringList({"dd|if=A 1_2007_hdc.mbr|of=/dev/hdc", "norvoRestorePT|hdc|A 1_2007_hdc.sf",
                "norvoPartimageRestore|/mnt/rev/A 1/2007|hdc10|A 1_2007_hdc10.bz2.000",
                "norvoPartimageRestore|/mnt/rev/A 1/2007|hdc1|A 1_2007_hdc1.bz2.000", "mkswap|-c|/dev/hdc2",
                "mkswap|-c|/dev/hdc5"}));
        QCOMPARE(commands.Directories().count("/mnt/rev/A 1/2007"), 6);
        const QStringList none = {"", "", ""};
        QCOMPARE(Transcript(),
            QStringList({"B:dd if=A 1_2007_hdc.mbr of=/dev/hdc ", "", "<b>1+0</b> &amp;"}) + none
                + QStringList({"B:norvoRestorePT hdc A 1_2007_hdc.sf ", "", "R:a\tb <i>", "", ""})
                + QStringList("B:norvoPartimageRestore /mnt/rev/A 1/2007 hdc10 A 1_2007_hdc10.bz2.000 ") + none
                + QStringList("B:norvoPartimageRestore /mnt/rev/A 1/2007 hdc1 A 1_2007_hdc1.bz2.000 ")
                + QStringList({"", "a", QString(QChar(0xe9)), "", "", "", ""}) // and two for the end of the partitions
                + QStringList("B:mkswap -c /dev/hdc2 ") + none + QStringList("B:mkswap -c /dev/hdc5 ") + none
                + QStringList("B:norvoRestoreGrub ") + none);
        Press(output, "btnClose");
        QVERIFY(output->isHidden() && dialog->isHidden() && dialog->isEnabled() && mainWindow.isEnabled());
        QCOMPARE(Transcript(), QStringList(""));
        QVERIFY(!Child(output, "btnClose")->isEnabled());
    }

    void restoresWithNothingChosen()
    {
        Store("A", "2007");
        Open();
        for (int i = 0; i < List()->topLevelItemCount(); ++i)
            List()->topLevelItem(i)->setCheckState(0, Qt::Unchecked);
        Child<QCheckBox>(dialog.get(), "chkSwap")->setChecked(false);
        Child<QCheckBox>(dialog.get(), "chkGrub")->setChecked(false);
        boxes.Expect("Information|Finish|Restore finished successfully!|OK");
        Press(dialog.get(), "btnStartRestore");
        QCOMPARE(Transcript(),
            QStringList({"B:dd if=A_2007_hdc.mbr of=/dev/hdc ", "", "", "", "B:norvoRestorePT hdc A_2007_hdc.sf ", "",
                "", "", "", ""}));
        QVERIFY(output->close());
        QVERIFY(dialog->isHidden() && mainWindow.isEnabled() && !Child(output, "btnClose")->isEnabled());
    }

    void decodesChunks_data()
    {
        QTest::addColumn<QByteArrayList>("chunks");
        QTest::addColumn<QString>("texts");
        const QString e = QChar(0xe9), euro = QChar(0x20ac), bad = QChar(0xfffd);
        QTest::newRow("whole") << QByteArrayList{"a\xc3\xa9", "b"} << "a" + e + "|b|";
        QTest::newRow("two bytes") << QByteArrayList{"a\xc3",
            "\xa9"
            "b"} << "a|" + e + "b|";
        QTest::newRow("three bytes") << QByteArrayList{"\xe2", "\x82", "\xac"} << "||" + euro + '|';
        QTest::newRow("four bytes") << QByteArrayList{"\xf0\x9f\x98", "\x80"}
                                    << '|' + QString::fromUcs4(U"\x1f600") + '|';
        QTest::newRow("not UTF-8") << QByteArrayList{"\xff\x80",
            "a\xe9"
            "b"} << bad + bad + "|a" + bad + "b|";
        QTest::newRow("end in a character") << QByteArrayList{"a\xe2"} << "a|" + bad;
        QTest::newRow("NUL") << QByteArrayList{QByteArray("a\0b", 3), QByteArray("\xc3\0", 2), "c"}
                             << "a|" + bad + "|c|";
    }

    void decodesChunks()
    {
        QFETCH(QByteArrayList, chunks);
        Utf8Chunks decoder;
        QString texts;
        for (const QByteArray& chunk : chunks)
            texts += decoder.Decode(chunk) + '|';
        texts += decoder.Rest();
        QTEST(texts, "texts");
    }
};

QTEST_MAIN(RestoreTest)
#include "restoretest.moc"
