// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "stand.h"
#include "utility.h"

#include <QProcess>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {
const QString table = "/etc/mtab";
const QByteArray rev = "/dev/hdb /mnt/rev/ udf defaults,rw,users,noauto 0 0\n";
const QByteArray root = "/dev/sda1 / ext4 rw 0 1\n";
} // namespace

class MountTableTest : public Stand
{
    Q_OBJECT

private Q_SLOTS:
    void mountsAndUnmounts_data()
    {
        Columns<QByteArray, QByteArray>("before", "after");
        const QByteArray x79(79, 'x'), x80(80, 'x'), x9999(9999, 'x');
        const QByteArrayList kept = {
            {},
            "/dev/hdb1 /media/a udf rw 0 0\n/dev/HDB /media/a udf rw 0 0\n/dev/hd /dev/hdb udf rw 0 0\n",
            root + "tmpfs /a\\040b tmpfs rw,size=10% 0 0\n/dev/sdb /c vfat rw 0 0\n",
            x79 + ' ' + x79 + " 123456789 " + x79 + " 1 2\n",
            // Not like the lines of a mount table, and so kept with their blanks.
            x80 + "  /a ext4 rw 0 0\n" + root,
            "a\t" + x9999 + " ext4 rw 0 0\n" + root,
            "a  /b fuse.sshfs rw 0 0\na  /b ext4 " + x80 + " 0 0\n",
            "a  /b ext4 rw 10 0\na  /b ext4 rw 0 10\n",
            "a  /b ext4 rw 0\na\na  /b ext4 rw 0 0 more\n" + root,
        };
        for (const QByteArray& lines : kept)
            QTest::newRow(lines.left(30).trimmed().constData()) << lines << lines;
        Row("more entries of the disk", rev + root + rev + "/dev/hdb /x iso9660 ro 0 0\n", root);
        Row("blanks", QByteArray(" a \t /b  ext4 rw\t0   1 \n\n \n"), QByteArray("a /b ext4 rw 0 1\n"));
        Row("no line feed at the end", root + "a /b ext4 rw 0 0", root + "a /b ext4 rw 0 0\n");
    }

    void mountsAndUnmounts()
    {
        QFETCH(QByteArray, before);
        WriteFile(table, before);
        QVERIFY(MountRev());
        const QByteArray lineEnd = before.isEmpty() || before.endsWith('\n') ? "" : "\n";
        QCOMPARE(ReadFile(table), before + lineEnd + rev);
        QVERIFY(UmountRev());
        QTEST(ReadFile(table), "after");
        QCOMPARE(Kernel::calls.join('|'), QString("mount /dev/hdb /mnt/rev/ udf 0 ''|umount /mnt/rev/"));
    }

    void leavesOddTablesAlone()
    {
        QVERIFY(QFile::remove(table) && MountRev() && UmountRev() && !QFile::exists(table));
        QVERIFY(QDir().mkdir(table) && MountRev() && UmountRev() && QDir().rmdir(table));
        WriteFile(table, rev + root);
        QCOMPARE(QProcess::execute("/bin/mount", {"-n", "--bind", table, table}), 0);
        QCOMPARE(QProcess::execute("/bin/mount", {"-n", "-o", "remount,bind,ro", table}), 0);
        QVERIFY(MountRev() && UmountRev());
        QCOMPARE(ReadFile(table), rev + root);
        QCOMPARE(QProcess::execute("/bin/umount", {"-n", table}), 0);
    }

    void keepsTheTableWithoutATemporaryFile()
    {
        WriteFile(table, rev + root);
        rlimit limit;
        getrlimit(RLIMIT_NOFILE, &limit);
        const int next = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0);
        close(next);
        const rlimit onlyTheTable = {static_cast<rlim_t>(next) + 1, limit.rlim_max};
        setrlimit(RLIMIT_NOFILE, &onlyTheTable);
        const bool unmounted = UmountRev();
        setrlimit(RLIMIT_NOFILE, &limit);
        QVERIFY(unmounted);
        QCOMPARE(ReadFile(table), rev + root);
    }
};

QTEST_MAIN(MountTableTest)
#include "mounttabletest.moc"
