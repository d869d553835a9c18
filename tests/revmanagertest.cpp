// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "revmanager.h"
#include "stand.h"

#include <QLabel>
#include <QProgressBar>
#include <cerrno>

namespace {
const QByteArray header = "Filesystem     Type  Size  Used Avail Use% Mounted on\n";
const QString known = "Used space: 1.2G|Free space: 32G|4";
const QString none = "Used space: |Free space: |0";
} // namespace

class RevManagerTest : public DialogStand<RevManager>
{
    Q_OBJECT

private:
    void OpenWithUsage()
    {
        AddDf(header + "/dev/hdb       udf    33G  1.2G   32G   4% /mnt/rev\n");
        Open();
        QCOMPARE(State(), "green|" + known);
    }

    /**
     * Adds a df that prints its answer byte by byte, after a text on the channel that is not to be read. An answer with
     * a NUL comes in one piece, since what is left of it depends on the pieces.
     */
    void AddDf(const QByteArray& answer)
    {
        WriteFile(commands.dir.filePath("answer"), answer);
        const QByteArray pieces = answer.contains('\0') ? "4k" : "1";
        commands.Add("df", "echo Filesystem >&2; /bin/dd status=none if=\"${0%/*}/answer\" bs=" + pieces);
    }

    /** As "colour|used|free|percent". */
    QString State()
    {
        return QStringList({Led(dialog.get()), Child<QLabel>(dialog.get(), "lblUsed")->text(),
                               Child<QLabel>(dialog.get(), "lblFree")->text(),
                               QString::number(Child<QProgressBar>(dialog.get(), "pgbUsage")->value())})
            .join('|');
    }

private Q_SLOTS:
    void showsWhatDfSays_data()
    {
        Columns<QByteArray, QString, QString>("answer", "usage", "error");
        const QString failed = "Error running df command!", shown = "Used space: 1G|Free space: 8G|11";
        const QByteArray rev = "/dev/hdb udf 9G 1G 8G 11% /mnt/rev\n", other = "/dev/hdb1 udf 9G 3G 6G 33% /a\n";
        Row("header only", header, known, "");
        Row("nothing", QByteArray(), known, failed);
        Row("other language", QByteArray("Dateisystem    Typ   Größe\n") + rev, known, failed);
        Row("other device", header + other, known, "");
        Row("among others", header + other + '\n' + rev + other, shown, "");
        Row("name alone", header + "/dev/hdb\n    udf 9G 1G 8G 11% /mnt/rev\n", shown, "");
        Row("name alone at the end", header + "/dev/hdb\n", none, "");
        Row("two lines", header + rev + "/dev/hdb udf 9G 9,9T 0 100% /b\n", "Used space: 9,9T|Free space: 0|100", "");
        Row("no number", header + "/dev/hdb udf 9G 1G 8G - /mnt/rev", "Used space: 1G|Free space: 8G|0", "");
        Row("NUL", header + rev + QByteArray("\0 x\n", 4) + "/dev/hdb udf 9G 7G 2G 70% /b\n", shown, "");
    }

    void showsWhatDfSays()
    {
        QFETCH(QByteArray, answer);
        QFETCH(QString, usage);
        QFETCH(QString, error);
        OpenWithUsage();
        AddDf(answer);
        boxes.ExpectError(error);
        dialog->Init(&flag);
        QCOMPARE(State(), "green|" + usage);
        QCOMPARE(commands.Calls().last(), QString("df|-hT|--type=udf|--sync"));
        QVERIFY(Kernel::calls.isEmpty());
    }

    void startsWithoutAValue()
    {
        AddDf({});
        boxes.ExpectError("Error running df command!");
        Open();
        QCOMPARE(State(), QString("green|Used space:|Free space:|-1"));
    }

    void mountsWhenOpened()
    {
        OpenWithUsage();
        Kernel::mountErrno = ENOMEDIUM;
        flag = false;
        dialog->Init(&flag);
        QCOMPARE(State(), QString("red|Used space: 1.2G|Free space: 32G|0"));
        Kernel::mountErrno = 0;
        dialog->Init(&flag);
        QCOMPARE(State(), "green|" + known);
        Press("btnMount");
        QCOMPARE(State(), "red|" + none);
        Press("btnMount");
        QCOMPARE(State(), "green|" + known);
    }

    void formats_data()
    {
        // answer: 0: not asked
        // end: the last box
        Columns<bool, int, int, int, QString, QString, QString>(
            "mounted", "mountErrno", "umountErrno", "answer", "command", "end", "state");
        const QString error = "Critical|Error|%1|OK";
        const QString failed = error.arg("Unable to format Rev!"), noRev = error.arg("Rev Error!");
        const int enter = Qt::Key_Return, escape = Qt::Key_Escape;
        Row("mounted", true, 0, 0, enter, "true", formatted, "red|" + none);
        Row("not mounted", false, 0, 0, enter, "true", formatted, "green|" + known); // the LED is left alone
        Row("cancelled", true, 0, 0, escape, "true", "", "red|" + none);
        Row("fails", true, 0, 0, enter, "exit 1", failed, "red|" + none);
        Row("killed", false, 0, 0, enter, "kill -9 $$", failed, "green|" + known);
        Row("not installed", true, 0, 0, enter, "", failed, "red|" + none);
        Row("in use", true, 0, EBUSY, 0, "true", error.arg("Unable to umount Rev!"), "green|" + known);
        Row("no disk", false, ENOMEDIUM, 0, 0, "true", noRev, "green|" + known);
        Row("stays mounted", false, 0, EBUSY, 0, "true", noRev, "green|" + none);
    }

    void formats()
    {
        QFETCH(bool, mounted);
        QFETCH(int, mountErrno);
        QFETCH(int, umountErrno);
        QFETCH(int, answer);
        QFETCH(QString, command);
        QFETCH(QString, end);
        OpenWithUsage();
        flag = mounted;
        if (!command.isEmpty())
            commands.Add("mkudffs", command.toUtf8());
        Kernel::mountErrno = mountErrno;
        Kernel::umountErrno = umountErrno;
        if (answer != 0)
            boxes.expected.append({formatQuestion, static_cast<Qt::Key>(answer)});
        if (!end.isEmpty())
            boxes.expected.append({end});
        Press("btnFormat");
        const bool called = answer == Qt::Key_Return && !command.isEmpty();
        QCOMPARE(commands.Calls().mid(1).join(' '), QString(called ? "mkudffs|/dev/hdb" : ""));
        QTEST(State(), "state");
        QCOMPARE(flag, mounted && umountErrno != 0);
        QCOMPARE(Kernel::calls.filter("umount").size(), mountErrno == 0 ? 1 : 0);
    }
};

QTEST_MAIN(RevManagerTest)
#include "revmanagertest.moc"
