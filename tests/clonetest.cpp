// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "clone.h"
#include "stand.h"

#include <QDate>
#include <QLineEdit>
#include <QProcess>

class CloneTest : public DialogStand<Clone>
{
    Q_OBJECT

private:
    void OpenAndType(const QString& serial, const QString& again)
    {
        Open();
        Child<QLineEdit>(dialog.get(), "edtSerial")->setText(serial);
        Child<QLineEdit>(dialog.get(), "edtSerialAgain")->setText(again);
    }

    QString Text(const QString& lineEdit) const
    {
        return Child<QLineEdit>(dialog.get(), lineEdit)->text();
    }

private Q_SLOTS:
    void refusesWrongInput_data()
    {
        Columns<QStringList, bool, QString, QString>("serials", "mounted", "error", "keyboard");
        const char* const unequal = "Machine serial numbers are not equal!";
        Row("not mounted, empty", QStringList{"", ""}, false, "Rev is not mounted!", "btnMount");
        Row("not mounted", QStringList{"A12", "A12"}, false, "Rev is not mounted!", "btnMount");
        Row("empty", QStringList{"", "A12"}, true, "Machine serial number cannot be empty!", "edtSerial");
        Row("empty second", QStringList{"A12", ""}, true, unequal, "edtSerialAgain");
        Row("case", QStringList{"A12", "a12"}, true, unequal, "edtSerialAgain");
        Row("blank", QStringList{"A12", "A12 "}, true, unequal, "edtSerialAgain");
    }

    void refusesWrongInput()
    {
        QFETCH(QStringList, serials);
        QFETCH(bool, mounted);
        QFETCH(QString, error);
        OpenAndType(serials.first(), serials.last());
        flag = mounted;
        commands.Add("mkdir");
        boxes.ExpectError(error);
        Press("btnClone");
        QVERIFY(commands.Calls().isEmpty());
        QVERIFY(dialog->isVisible() && dialog->isEnabled() && !mainWindow.isEnabled());
        QCOMPARE(Text("edtSerial"), serials.first());
        QTEST(dialog->focusWidget()->objectName(), "keyboard");
        if (auto* const field = qobject_cast<QLineEdit*>(dialog->focusWidget()))
            QCOMPARE(field->selectedText(), field->text());
    }

    void refusesADiskThatLeadsOut_data()
    {
        Columns<QString, QString>("attack", "error"); // "$s" is the set, "$f" its files' beginning
        const char* const leadsOut = "/mnt/rev/A12%1 is a link that leads out of the REV disk.";
        const char* const noFile = "/mnt/rev/A12/$d/A12_$d_hdc%1 is a link, a device or a pipe, not a file.";
        Row("serial", "ln -s /mnt/out /mnt/rev/A12", QString(leadsOut).arg(""));
        Row("relative", "ln -s ../out /mnt/rev/A12", QString(leadsOut).arg(""));
        Row("date", "mkdir -p /mnt/rev/A12; ln -s /mnt/out $s", QString(leadsOut).arg("/$d"));
        Row("dd would follow", "mkdir -p $s; ln -s /mnt/out/x ${f}hdc.mbr", QString(noFile).arg(".mbr"));
        Row("dd would wait", "mkdir -p $s; mkfifo ${f}hdc.mbr", QString(noFile).arg(".mbr"));
        Row("an image", "mkdir -p $s; ln -s hdc2 ${f}hdc1.bz2.000", QString(noFile).arg("1.bz2.000"));
    }

    void refusesADiskThatLeadsOut()
    {
        QFETCH(QString, attack);
        QFETCH(QString, error);
        OpenAndType("A12", "A12");
        const QString date = Text("edtDate");
        const QString names = QString("s=/mnt/rev/A12/%1 f=$s/A12_%1_; mkdir -p /mnt/out; ").arg(date);
        QCOMPARE(QProcess::execute("/bin/bash", {"-c", "PATH=/bin; " + names + attack}), 0);
        commands.Add("mkdir");
        boxes.ExpectError(error.replace("$d", date) + " Nothing was done. Delete "
            + (error.contains("leads out") ? "the link, " : "it, ") + "or use another disk.");
        Press("btnClone");
        QVERIFY(commands.Calls().isEmpty() && Kernel::attributes.isEmpty() && dialog->isVisible());
    }

    void savesAnImageSet()
    {
        OpenAndType("A 12", "A 12");
        const QString date = Text("edtDate"), set = "/mnt/rev/A 12/" + date, prefix = "A 12_" + date + '_';
        QVERIFY(QDir().mkpath(set));
        commands.Add("mkdir");
        commands.Add("dd");
        WriteFile(commands.dir.filePath("table"),
            "# /dev/hdc : disk\n\n"
            " /dev/hdc9 : start=1, size=2, Id=83\n"
            "/dev/hdc1 : start=       63, size=  2104452, Id=83, bootable\n"
            "/dev/hdc2 : start=  2104515, size=   996030, Id=82, bootable\n"
            "/dev/hdc3 : start=  3104515, size=   996030, Id= 5\n"
            "/dev/hdc4 : start=        0, size=        0, Id= 0\n"
            "/dev/hdc5 : start=82, size=82, Id= 82\n"
            "/dev/hdc6\n");
        // Asks for input in vain, since that is an open pipe that nothing is written to: bash answers with 142.
        commands.Add("norvoClonePT",
            "echo \"$(<\"${0%/*}/table\")\" >\"$2\"; read -rt 0.1; echo $? >\"$2.input\"\n"
            "[[ /proc/self/fd/1 -ef /dev/null && /proc/self/fd/2 -ef /dev/null ]]; echo $? >\"$2.output\"");
        commands.Add("norvoPartimageClone", "if [[ $2 == hdc1 ]]; then hold; exit 1; fi");
        ReportStandIn report;
        commands.During("norvoPartimageClone", [this, &report] {
            report.Listen(commands.dir.path());
            QVERIFY(dialog->isHidden() && !dialog->isEnabled() && !mainWindow.isEnabled());
        });
        boxes.expected.append({"Information|Finish|Clone finished successfully!|OK", Qt::Key_Return, [this] {
                                   QVERIFY(dialog->isHidden() && dialog->isEnabled() && !mainWindow.isEnabled());
                               }});
        Press("btnClone");
        QCOMPARE(Kernel::attributes.join('|'), QString("/mnt/rev/ 200000 0|/mnt/rev/ 0 200000")); // no link is followed
        QStringList expected = {"mkdir|-p|/mnt/rev/A 12", "mkdir|-p|" + set,
            "dd|if=/dev/hdc|of=" + set + '/' + prefix + "hdc.mbr|count=1|bs=512",
            "norvoClonePT|hdc|" + set + '/' + prefix + "hdc.sf"};
        for (const char* partition : {"hdc1", "hdc3", "hdc4", "hdc5", "hdc6"})
            expected.append(QString("norvoPartimageClone|%1|%2|%3%2.bz2").arg(set, partition, prefix));
        QCOMPARE(commands.Calls(), expected);
        const QStringList said = report.Heard();
        QCOMPARE(said.size(), 2);
        QVERIFY(said[0].contains(R"("parts":["hdc1","hdc3","hdc4","hdc5","hdc6"],"run":"clone")"));
        QCOMPARE(said[1], QString(R"({"over":true})"));
        QCOMPARE(ReadFile(commands.dir.filePath("directories")), (QDir::currentPath().toUtf8() + '\n').repeated(9));
        QCOMPARE(ReadFile(set + '/' + prefix + "hdc.sf.input"), QByteArray("142\n"));
        QCOMPARE(ReadFile(set + '/' + prefix + "hdc.sf.output"), QByteArray("0\n")); // which nobody reads
        QVERIFY(dialog->isHidden() && dialog->isEnabled() && mainWindow.isEnabled());
    }

    void savesNoOtherDisk() // where the table of a prepared set could not be replaced
    {
        OpenAndType("A12", "A12");
        const QString date = Text("edtDate");
        WriteFile(QString("/mnt/rev/A12/%1/A12_%1_hdc.sf").arg(date), "/dev/sda1 : start= 1, size= 99, Id=83\n");
        commands.Add("norvoPartimageClone");
        boxes.expected.append({"Information|Finish|Clone finished successfully!|OK"});
        Press("btnClone");
        QVERIFY(commands.Calls().isEmpty());
    }

    void keepsTheInput()
    {
        OpenAndType("A12", "a12");
        Child<QLineEdit>(dialog.get(), "edtDate")->setText("19990101");
        Press("btnCancel");
        QVERIFY(dialog->isHidden() && mainWindow.isEnabled());
        const QDate today = QDate::currentDate();
        dialog->Init(&flag);
        QVERIFY(Text("edtDate") == QLocale::c().toString(today, "yyyyMMdd") || today != QDate::currentDate());
        QCOMPARE(Text("edtSerial") + Text("edtSerialAgain"), QString("A12a12"));
    }
};

QTEST_MAIN(CloneTest)
#include "clonetest.moc"
