// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "authentication.h"
#include "restorestand.h"
#include "utf8chunks.h"

#include <QApplication>
#include <QCheckBox>
#include <QHeaderView>
#include <QProcess>
#include <QRegularExpression>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextEdit>

namespace {
const QString finished = "Information|Finish|Restore finished successfully!|OK";
} // namespace

class RestoreRunTest : public RestoreStand
{
    Q_OBJECT

private:
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

    void restoresOnlyWhatIsAuthentic_data()
    {
        // $k is the key's file, $p what the paths of the set's files begin with
        Columns<QString, QString>("change", "error");
        const QString begin = "Only authentic image sets may be restored on this machine, and this one is not: "
                              "/mnt/rev/A/20070101/A_20070101_";
        const QString end = ". Nothing was done. Use another set.";
        Row("authentic", "", "");
        Row("no record", "rm ${p}hdc1.bz2.sum", begin + "hdc1.bz2.sum is missing" + end);
        Row("another boot sector", "printf %0512d 0 >${p}hdc.mbr",
            begin + "hdc.mbr is not the boot sector that the set's partition table has" + end);
        Row("nobody asks", "sed -i /^require/d $k; rm ${p}hdc1.bz2.sum", "");
        Row("an open key", "chmod 640 $k",
            "/etc/norvo-clone-restore/key is open to other users. Make a new key if it was for long, or run: chmod 600 "
            "/etc/norvo-clone-restore/key");
    }

    void restoresOnlyWhatIsAuthentic()
    {
        QFETCH(QString, change);
        QFETCH(QString, error);
        Authentication::Make();
        const QString prefix = "/mnt/rev/A/20070101/A_20070101_hdc";
        const std::string tablePath = (prefix + ".sf").toStdString();
        const std::string recordPath = (prefix + "1.bz2.sum").toStdString();
        {
            const auto key = Authentication::Read();
            TableFile table;
            table.lines = {{1, 63, 1028097, 0x83, true}};
            table.disk = "hdc";
            table.raw = {{0, std::string(512, 'x')}};
            WriteFile(prefix + ".sf", table.Text(&*key, tablePath).c_str());
            WriteFile(prefix + ".mbr", QByteArray(512, 'x'));
            ImageRecord record;
            record.content = "ext4";
            record.sha256 = std::string(64, '0');
            record.table = table.seal;
            WriteFile(recordPath.c_str(), record.Text(&*key, recordPath).c_str());
        }
        const QString script = "PATH=/bin; k=%1; p=/mnt/rev/A/20070101/A_20070101_; echo require-authentic >>$k; ";
        QCOMPARE(QProcess::execute("/bin/bash", {"-ec", script.arg(Authentication::file) + change}), 0);
        commands.Add("dd");
        Open();
        if (error.isEmpty())
            boxes.expected.append({finished});
        boxes.ExpectError(error);
        Press("btnStartRestore");
        QCOMPARE(commands.Calls().isEmpty(), !error.isEmpty());
        QFile::remove(Authentication::file);
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

    void decodesChunks()
    {
        const std::vector<std::pair<QByteArrayList, QString>> cases = {
            {{"a\xc3", "\xa9\xc3\xa9"}, "a|\u00e9\u00e9|"},
            {{"\xf0\x9f", "\x98", "\x80"}, "||\U0001f600|"},
            {{"\xff\x80", "a\xe9-"}, "\ufffd\ufffd|a\ufffd-|"},
            {{"a\xe2"}, "a|\ufffd"},
            {{QByteArray("a\0b", 3), QByteArray("\xc3\0", 2), "c"}, "a|\ufffd|c|"},
        };
        for (const auto& [chunks, expected] : cases) {
            Utf8Chunks decoder;
            QString texts;
            for (const QByteArray& chunk : chunks)
                texts += decoder.Decode(chunk) + '|';
            QCOMPARE(texts + decoder.Rest(), expected);
        }
    }
};

QTEST_MAIN(RestoreRunTest)
#include "restoreruntest.moc"
