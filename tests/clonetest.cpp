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

class CloneTest : public Stand
{
    Q_OBJECT

private:
    void Open(const QString& serial, const QString& again);

    QWidget mainWindow;
    std::unique_ptr<Clone> dialog;
    bool flag = true;
    const QString finished = "Information|Finish|Clone finished successfully!|OK";

private Q_SLOTS:
    void refusesWrongInput_data();
    void refusesWrongInput();
    void listsPartitions_data();
    void listsPartitions();
    void savesAnImageSet();
    void goesOnWithoutHelpers();
    void leavesMemoryAndProcessorToTheCommands();
    void keepsTheInput();
};

/** Shows a new dialog over a disabled main window, with the serial numbers typed. */
void CloneTest::Open(const QString& serial, const QString& again)
{
    flag = true;
    mainWindow.setEnabled(false);
    dialog = std::make_unique<Clone>(&mainWindow, "Clone", Qt::Window);
    dialog->Init(&flag);
    dialog->setEnabled(true);
    dialog->show();
    Child<QLineEdit>(dialog.get(), "edtSerial")->setText(serial);
    Child<QLineEdit>(dialog.get(), "edtSerialAgain")->setText(again);
}

void CloneTest::refusesWrongInput_data()
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

void CloneTest::refusesWrongInput()
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
    QCOMPARE(Child<QLineEdit>(dialog.get(), "edtSerial")->text(), serials.first());
}

void CloneTest::listsPartitions_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QStringList>("added");
    const QStringList hdc1 = {"hdc1"}, none;
    QTest::newRow("Linux") << "/dev/hdc1 : start=       63, size=  2104452, Id=83, bootable" << hdc1;
    QTest::newRow("swap") << "/dev/hdc1 : start=  2104515, size=   996030, Id=82" << none;
    QTest::newRow("bootable swap") << "/dev/hdc1 : start=  2104515, size=   996030, Id=82, bootable" << none;
    QTest::newRow("extended") << "/dev/hdc1 : start=  2104515, size=   996030, Id= 5" << hdc1;
    QTest::newRow("empty slot") << "/dev/hdc1 : start=        0, size=        0, Id= 0" << hdc1;
    QTest::newRow("82 in another place") << "/dev/hdc1 : start=82, size=82, Id= 82" << hdc1;
    QTest::newRow("heading") << "# partition table of /dev/hdc" << none;
    QTest::newRow("unit") << "unit: sectors" << none;
    QTest::newRow("empty") << "" << none;
    QTest::newRow("blank first") << " /dev/hdc1 : start=1, size=2, Id=83" << none;
    QTest::newRow("no fields") << "/dev/hdc1" << hdc1;
    QTest::newRow("no blank before the colon")
        << "/dev/hdc1: start=1, size=2, Id=82" << QStringList{"hdc1: start=1, size=2, Id=82"};
}

void CloneTest::listsPartitions()
{
    QFETCH(QString, line);
    QFETCH(QStringList, added);
    QStringList list = {"before"};
    Clone(&mainWindow, "Clone", Qt::Window).ParsePartitionLine(line, list);
    QCOMPARE(list, QStringList{"before"} + added);
}

void CloneTest::savesAnImageSet()
{
    commands.Add("dd");
    commands.AddReal("/bin/mkdir");
    // Waits for input in vain, since it is an open pipe that nothing is written to: bash's answer to that is 142.
    commands.Add("norvoClonePT",
        "printf '%s\\n' unit: '' \\\n"
        "    '/dev/hdc1 : start=       63, size=  2104452, Id=83, bootable' \\\n"
        "    '/dev/hdc2 : start=  2104515, size=   996030, Id=82' \\\n"
        "    '/dev/hdc4 : start=        0, size=        0, Id= 0' >\"$2\"\n"
        "read -rt 0.1; echo $? >\"$2.input\"");
    commands.Add("norvoPartimageClone", "if [[ $2 == hdc1 ]]; then hold; exit 1; fi");
    Open("A 12", "A 12");
    const QString date = Child<QLineEdit>(dialog.get(), "edtDate")->text();
    commands.During("norvoPartimageClone", [this] {
        QVERIFY(dialog->isHidden() && !dialog->isEnabled() && !mainWindow.isEnabled());
    });
    boxes.Expect(finished, Qt::Key_Return, [this] {
        QVERIFY(dialog->isHidden() && dialog->isEnabled() && !mainWindow.isEnabled());
    });
    Press(dialog.get(), "btnClone");

    const QString set = "/mnt/rev/A 12/" + date;
    const QString prefix = QString("A 12_%1_").arg(date);
    const QStringList expected = {
        QString("dd|if=/dev/hdc|of=%1/%2hdc.mbr|count=1|bs=512").arg(set, prefix),
        QString("norvoClonePT|hdc|%1/%2hdc.sf").arg(set, prefix),
        QString("norvoPartimageClone|%1|hdc1|%2hdc1.bz2").arg(set, prefix),
        QString("norvoPartimageClone|%1|hdc4|%2hdc4.bz2").arg(set, prefix),
    };
    QCOMPARE(commands.Calls(), expected);
    QCOMPARE(commands.Directories(), QStringList(QVector<QString>(4, QDir::currentPath()).toList()));
    QCOMPARE(ReadFile(set + '/' + prefix + "hdc.sf.input"), QByteArray("142\n"));
    QVERIFY(dialog->isHidden() && dialog->isEnabled() && mainWindow.isEnabled());
}

void CloneTest::goesOnWithoutHelpers()
{
    commands.Add("mkdir");
    commands.Add("dd", "kill -9 $$");
    Open("B", "B");
    boxes.Expect(finished);
    Press(dialog.get(), "btnClone");
    const QStringList calls = commands.Calls();
    QCOMPARE(calls.size(), 3);
    QCOMPARE(calls.at(0), "mkdir|-p|/mnt/rev/B");
    QVERIFY(calls.at(1).startsWith("mkdir|-p|/mnt/rev/B/"));
    QVERIFY(calls.at(2).startsWith("dd|"));
}

void CloneTest::leavesMemoryAndProcessorToTheCommands()
{
    const auto memory = [] {
        return ReadFile("/proc/self/statm").split(' ').at(1).toLongLong() * getpagesize();
    };
    const auto processor = [] {
        rusage usage;
        getrusage(RUSAGE_SELF, &usage);
        return (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1000
            + (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1000;
    };
    // 32 MB on each channel, then a second without work.
    commands.Add("norvoClonePT",
        "printf -v text '%1048576s' x; for ((i = 0; i < 32; ++i)); do echo \"$text\"; echo \"$text\" >&2; done");
    commands.Add("dd", "read -rt 1");
    Open("C", "C");
    boxes.Expect(finished);
    const long long memoryBefore = memory(), processorBefore = processor();
    QElapsedTimer wall;
    wall.start();
    Press(dialog.get(), "btnClone");
    QVERIFY2(memory() - memoryBefore < 16 << 20, qPrintable(QString::number(memory() - memoryBefore)));
    QVERIFY2(2 * (processor() - processorBefore) < wall.elapsed(), qPrintable(QString::number(processor())));
}

void CloneTest::keepsTheInput()
{
    Open("A12", "a12");
    auto* const date = Child<QLineEdit>(dialog.get(), "edtDate");
    date->setText("19990101");
    Press(dialog.get(), "btnCancel");
    QVERIFY(dialog->isHidden() && mainWindow.isEnabled());

    flag = false;
    const QString today = QDate::currentDate().toString("yyyyMMdd");
    dialog->Init(&flag);
    QCOMPARE(date->text(), std::max(today, QDate::currentDate().toString("yyyyMMdd")));
    QCOMPARE(Led(dialog.get()), "red");
    flag = true;
    dialog->Init(&flag);
    QCOMPARE(Led(dialog.get()), "green");
    QCOMPARE(Child<QLineEdit>(dialog.get(), "edtSerial")->text(), "A12");
    QCOMPARE(Child<QLineEdit>(dialog.get(), "edtSerialAgain")->text(), "a12");

    mainWindow.setEnabled(false);
    dialog->show();
    QVERIFY(dialog->close());
    QVERIFY(dialog->isHidden() && mainWindow.isEnabled());
}

QTEST_MAIN(CloneTest)
#include "clonetest.moc"
