// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "clone.h"
#include "stand.h"

#include <QDate>
#include <QDir>
#include <QElapsedTimer>
#include <QLineEdit>
#include <memory>
#include <sys/resource.h>
#include <unistd.h>

namespace {
const char* const finished = "Information|Finish|Clone finished successfully!|OK";

long long MemoryInUse()
{
    QFile file("/proc/self/statm");
    file.open(QIODevice::ReadOnly);
    return file.readAll().split(' ').at(1).toLongLong() * getpagesize();
}

/** In seconds. */
double ProcessorTime()
{
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec)
        + 1e-6 * static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
}
} // namespace

class CloneTest : public Stand
{
    Q_OBJECT

private:
    QWidget mainWindow;
    std::unique_ptr<Clone> dialog;
    bool flag = true;

    /** Shows a new dialog over the disabled main window, with the serial numbers typed. */
    void Open(const QString& serial, const QString& again)
    {
        flag = true;
        mainWindow.setEnabled(false);
        dialog = std::make_unique<Clone>(&mainWindow, "Clone", Qt::Window);
        dialog->Init(&flag);
        dialog->show();
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
        QTest::addColumn<bool>("mounted");
        QTest::addColumn<QStringList>("serials");
        QTest::addColumn<QString>("error");
        const char* const unmounted = "Rev is not mounted!";
        const char* const empty = "Machine serial number cannot be empty!";
        const char* const unequal = "Machine serial numbers are not equal!";
        QTest::newRow("not mounted, empty") << false << QStringList{"", ""} << unmounted;
        QTest::newRow("not mounted") << false << QStringList{"A12", "A12"} << unmounted;
        QTest::newRow("empty") << true << QStringList{"", ""} << empty;
        QTest::newRow("empty first") << true << QStringList{"", "A12"} << empty;
        QTest::newRow("empty second") << true << QStringList{"A12", ""} << unequal;
        QTest::newRow("case") << true << QStringList{"A12", "a12"} << unequal;
        QTest::newRow("blank") << true << QStringList{"A12", "A12 "} << unequal;
    }

    void refusesWrongInput()
    {
        QFETCH(bool, mounted);
        QFETCH(QStringList, serials);
        QFETCH(QString, error);
        Open(serials.first(), serials.last());
        flag = mounted;
        commands.Add("mkdir");
        boxes.ExpectError(error);
        Press(dialog.get(), "btnClone");
        QCOMPARE(commands.Calls(), QStringList());
        QVERIFY(dialog->isVisible() && dialog->isEnabled() && !mainWindow.isEnabled());
        QCOMPARE(Text("edtSerial"), serials.first());
    }

    void listsPartitions_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("added");
        QTest::newRow("Linux") << "/dev/hdc1 : start=       63, size=  2104452, Id=83, bootable"
                               << "hdc1";
        QTest::newRow("swap") << "/dev/hdc2 : start=  2104515, size=   996030, Id=82" << QString();
        QTest::newRow("bootable swap") << "/dev/hdc2 : start=       63, size=   996030, Id=82, bootable" << QString();
        QTest::newRow("extended") << "/dev/hdc3 : start=  2104515, size=   996030, Id= 5"
                                  << "hdc3";
        QTest::newRow("empty slot") << "/dev/hdc4 : start=        0, size=        0, Id= 0"
                                    << "hdc4";
        QTest::newRow("82 elsewhere") << "/dev/hdc5 : start=82, size=82, Id= 82"
                                      << "hdc5";
        QTest::newRow("comment") << "# partition table of /dev/hdc" << QString();
        QTest::newRow("empty") << "" << QString();
        QTest::newRow("blank first") << " /dev/hdc1 : start=1, size=2, Id=83" << QString();
        QTest::newRow("no fields") << "/dev/hdc6"
                                   << "hdc6";
        QTest::newRow("no separator") << "/dev/hdc7: start=1, size=2, Id=82"
                                      << "hdc7: start=1, size=2, Id=82";
    }

    void listsPartitions()
    {
        QFETCH(QString, line);
        QStringList list = {"hdc1"};
        Clone(&mainWindow, "Clone", Qt::Window).ParsePartitionLine(line, list);
        QTEST(list.mid(1).join('|'), "added");
        QCOMPARE(list.first(), QString("hdc1"));
    }

    void savesAnImageSet()
    {
        Open("A 12", "A 12");
        const QString date = Text("edtDate"), set = "/mnt/rev/A 12/" + date, prefix = "A 12_" + date + "_";
        QVERIFY(QDir().mkpath(set));
        commands.Add("mkdir");
        commands.Add("dd");
        // Asks for input in vain, since that is an open pipe that nothing is written to: bash answers with 142.
        commands.Add("norvoClonePT",
            "printf '%s\\n' unit: '' '/dev/hdc1 : start=       63, size=  2104452, Id=83, bootable' \\\n"
            "    '/dev/hdc2 : start=  2104515, size=   996030, Id=82' \\\n"
            "    '/dev/hdc4 : start=        0, size=        0, Id= 0' >\"$2\"\n"
            "read -rt 0.1; echo $? >\"$2.input\"");
        commands.Add("norvoPartimageClone", "if [[ $2 == hdc1 ]]; then hold; exit 1; fi");
        commands.During("norvoPartimageClone", [this] {
            QVERIFY(dialog->isHidden() && !dialog->isEnabled() && !mainWindow.isEnabled());
        });
        boxes.Expect(finished, Qt::Key_Return, [this] {
            QVERIFY(dialog->isHidden() && dialog->isEnabled() && !mainWindow.isEnabled());
        });
        Press(dialog.get(), "btnClone");

        QCOMPARE(commands.Calls(),
            QStringList({
                "mkdir|-p|/mnt/rev/A 12",
                "mkdir|-p|" + set,
                "dd|if=/dev/hdc|of=" + set + '/' + prefix + "hdc.mbr|count=1|bs=512",
                "norvoClonePT|hdc|" + set + '/' + prefix + "hdc.sf",
                "norvoPartimageClone|" + set + "|hdc1|" + prefix + "hdc1.bz2",
                "norvoPartimageClone|" + set + "|hdc4|" + prefix + "hdc4.bz2",
            }));
        QCOMPARE(commands.Directories().count(QDir::currentPath()), 6);
        QCOMPARE(ReadFile(set + '/' + prefix + "hdc.sf.input"), QByteArray("142\n"));
        QVERIFY(dialog->isHidden() && dialog->isEnabled() && mainWindow.isEnabled());
    }

    void goesOnWithoutHelpers()
    {
        commands.Add("mkdir");
        commands.Add("dd", "kill -9 $$");
        Open("B", "B");
        boxes.Expect(finished);
        Press(dialog.get(), "btnClone");
        QCOMPARE(commands.Calls().size(), 3);
        QVERIFY(commands.Calls().last().startsWith("dd|"));
    }

    void leavesMemoryAndProcessorToTheCommands()
    {
        // 32 MB on each channel, then a second without work.
        commands.Add("norvoClonePT",
            "printf -v text '%1048576s' x; for ((i = 0; i < 32; ++i)); do echo \"$text\"; echo \"$text\" >&2; done");
        commands.Add("dd", "read -rt 1");
        Open("C", "C");
        boxes.Expect(finished);
        QElapsedTimer wall;
        wall.start();
        const long long memory = MemoryInUse();
        const double processor = ProcessorTime();
        Press(dialog.get(), "btnClone");
        QVERIFY(MemoryInUse() - memory < 16 << 20);
        QVERIFY(ProcessorTime() - processor < 0.0005 * static_cast<double>(wall.elapsed()));
    }

    void keepsTheInput()
    {
        Open("A12", "a12");
        Child<QLineEdit>(dialog.get(), "edtDate")->setText("19990101");
        Press(dialog.get(), "btnCancel");
        QVERIFY(dialog->isHidden() && mainWindow.isEnabled());
        const QString today = QDate::currentDate().toString("yyyyMMdd");
        dialog->Init(&flag);
        QVERIFY(Text("edtDate") == today || Text("edtDate") == QDate::currentDate().toString("yyyyMMdd"));
        QCOMPARE(Text("edtSerial"), QString("A12"));
        QCOMPARE(Text("edtSerialAgain"), QString("a12"));
    }
};

QTEST_MAIN(CloneTest)
#include "clonetest.moc"
