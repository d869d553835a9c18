// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "revmanager.h"
#include "stand.h"

#include <QLabel>
#include <QProgressBar>
#include <cerrno>
#include <memory>

namespace {
const char* const header = "Filesystem     Type  Size  Used Avail Use% Mounted on\n";
const QString known = "Used space: 1.2G|Free space: 32G|4";
const QString emptied = "Used space: |Free space: |0";
} // namespace

class RevManagerTest : public Stand
{
    Q_OBJECT

private:
    QWidget mainWindow;
    std::unique_ptr<RevManager> dialog;
    bool flag = true;

    /** Shows a new dialog, with the disk mounted and a usage known. */
    void Open()
    {
        flag = true;
        mainWindow.setEnabled(false);
        dialog = std::make_unique<RevManager>(&mainWindow, "RevManager", Qt::Window);
        AddDf(QByteArray(header) + "/dev/hdb       udf    33G  1.2G   32G   4% /mnt/rev\n");
        dialog->Init(&flag);
        dialog->show();
        QCOMPARE(Usage(), known);
        QCOMPARE(Led(dialog.get()), QString("green"));
    }

    void AddDf(const QByteArray& output)
    {
        // What is written to the other channel is not to be taken for df's answer.
        commands.Add("df", "echo Filesystem >&2; " + Commands::Print(output, output.size() < 200));
    }

    QString Usage()
    {
        return Child<QLabel>(dialog.get(), "lblUsed")->text() + '|' + Child<QLabel>(dialog.get(), "lblFree")->text()
            + '|' + QString::number(Child<QProgressBar>(dialog.get(), "pgbUsage")->value());
    }

private Q_SLOTS:
    void showsWhatDfSays_data()
    {
        QTest::addColumn<QByteArray>("output");
        QTest::addColumn<QString>("usage");
        QTest::addColumn<QString>("error");
        const QString failed = "Error running df command!";
        const QByteArray two = "/dev/hdb udf 9G 1G 8G 11% /mnt/rev\n", other = "/dev/hdb1 udf 9G 3G 6G 33% /a\n";
        const auto row
            = [](const char* name, const QByteArray& lines, const QString& usage, const QString& error = {}) {
                  QTest::newRow(name) << lines << usage << error;
              };
        row("one line", header + two, "Used space: 1G|Free space: 8G|11");
        row("header only", header, known);
        row("nothing", "", known, failed);
        row("other language", "Dateisystem    Typ   Größe\n" + two, known, failed);
        row("no header", two, known, failed);
        row("other device", header + other, known);
        row("among others", header + other + "\n" + two + other, "Used space: 1G|Free space: 8G|11");
        row("name alone", QByteArray(header) + "/dev/hdb\n    udf 9G 1.5T 7,5G 20% /mnt/rev\n",
            "Used space: 1.5T|Free space: 7,5G|20");
        row("name alone at the end", QByteArray(header) + "/dev/hdb\n", "Used space: |Free space: |0");
        row("two lines", header + two + "/dev/hdb udf 9G 9G 0 100% /b\n", "Used space: 9G|Free space: 0|100");
        row("no number", QByteArray(header) + "/dev/hdb udf 9G 1G 8G - /mnt/rev", "Used space: 1G|Free space: 8G|0");
        row("NUL", QByteArray(header) + QByteArray("/dev/hdb udf 9G 1G 8G 11% \0/mnt\n", 32) + QByteArray(200, ' '),
            "Used space: 1G|Free space: 8G|11");
    }

    void showsWhatDfSays()
    {
        QFETCH(QByteArray, output);
        QFETCH(QString, error);
        Open();
        AddDf(output);
        boxes.ExpectError(error);
        dialog->Init(&flag);
        QTEST(Usage(), "usage");
        QCOMPARE(commands.Calls(), QStringList({"df|-hT|--type=udf|--sync", "df|-hT|--type=udf|--sync"}));
        QVERIFY(Kernel::calls.isEmpty());
    }

    void mountsWhenOpened()
    {
        Open();
        flag = false;
        dialog->Init(&flag);
        QVERIFY(flag);
        Kernel::mountErrno = ENOMEDIUM;
        flag = false;
        dialog->Init(&flag);
        QVERIFY(!flag);
        QCOMPARE(Led(dialog.get()), QString("red"));
        QCOMPARE(Usage(), QString("Used space: 1.2G|Free space: 32G|0"));
        QCOMPARE(commands.Calls().size(), 2);
        Kernel::mountErrno = 0;
        Press(dialog.get(), "btnMount");
        QCOMPARE(Usage(), known);
        Press(dialog.get(), "btnMount");
        QCOMPARE(Usage(), emptied);
        Press(dialog.get(), "btnCancel");
        QVERIFY(dialog->isHidden() && mainWindow.isEnabled());
    }

    void formats_data()
    {
        QTest::addColumn<bool>("mounted");
        QTest::addColumn<QString>("errnos"); // of mount and umount
        QTest::addColumn<int>("answer");     // 0: not asked
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("end"); // the last box
        QTest::addColumn<QString>("usage");
        const auto row = [](const char* name, bool mounted, const QString& errnos, int answer, const QString& command,
                             const QString& end, const QString& usage) {
            QTest::newRow(name) << mounted << errnos << answer << command << end << usage;
        };
        const QString done = "Information|Finish|Rev formatted successfully!|OK", error = "Critical|Error|%1|OK";
        const QString failed = error.arg("Unable to format Rev!"), noRev = error.arg("Rev Error!");
        row("mounted", true, "0 0", Qt::Key_Return, "true", done, emptied);
        row("not mounted", false, "0 0", Qt::Key_Return, "true", done, known);
        row("cancelled", true, "0 0", Qt::Key_Escape, "true", "", emptied);
        row("fails", true, "0 0", Qt::Key_Return, "exit 1", failed, emptied);
        row("killed", false, "0 0", Qt::Key_Return, "kill -9 $$", failed, known);
        row("not installed", true, "0 0", Qt::Key_Return, "", failed, emptied);
        row("in use", true, "0 16", 0, "true", error.arg("Unable to umount Rev!"), known);
        row("no disk", false, "123 0", 0, "true", noRev, known);
        row("probe stays mounted", false, "0 16", 0, "true", noRev, emptied);
    }

    void formats()
    {
        QFETCH(bool, mounted);
        QFETCH(QString, errnos);
        QFETCH(int, answer);
        QFETCH(QString, command);
        QFETCH(QString, end);
        Open();
        flag = mounted;
        if (!command.isEmpty())
            commands.Add("mkudffs", command.toUtf8());
        Kernel::mountErrno = errnos.section(' ', 0, 0).toInt();
        Kernel::umountErrno = errnos.section(' ', 1).toInt();
        if (answer != 0)
            boxes.Expect("Warning|Format|Do you want to format Rev?\n\nAll data will be lost!|Format|Cancel",
                static_cast<Qt::Key>(answer));
        if (!end.isEmpty())
            boxes.Expect(end);
        Press(dialog.get(), "btnFormat");
        QCOMPARE(commands.Calls().mid(1).join(' '),
            QString(answer == Qt::Key_Return && !command.isEmpty() ? "mkudffs|/dev/hdb" : ""));
        QTEST(Usage(), "usage");
        const bool unmounted = mounted && Kernel::umountErrno == 0;
        QCOMPARE(flag, mounted && !unmounted);
        QCOMPARE(Led(dialog.get()), QString(unmounted ? "red" : "green")); // the probe leaves it alone
        QCOMPARE(Kernel::calls.filter("umount").size(), Kernel::mountErrno == 0 ? 1 : 0);
    }
};

QTEST_MAIN(RevManagerTest)
#include "revmanagertest.moc"
