// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "stand.h"
#include "utility.h"

#include <QProcess>
#include <QTemporaryFile>
#include <cerrno>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {
const QString table = "/etc/mtab";
const QByteArray rev = "/dev/hdb /mnt/rev/ udf defaults,rw,users,noauto 0 0\n";
const QByteArray root = "/dev/sda1 / ext4 rw 0 1\n";

/** What a function prints on standard output. */
QByteArray Printed(const std::function<void()>& function)
{
    QTemporaryFile file;
    file.open();
    fflush(stdout);
    const int before = dup(STDOUT_FILENO);
    dup2(file.handle(), STDOUT_FILENO);
    function();
    dup2(before, STDOUT_FILENO); // without a flush here: the lines are to be out when the function returns
    close(before);
    file.seek(0);
    return file.readAll();
}
} // namespace

class MountTableTest : public Stand
{
    Q_OBJECT

private Q_SLOTS:
    void mountsAndUnmounts_data();
    void mountsAndUnmounts();
    void believesTheKernel_data();
    void believesTheKernel();
    void leavesOddTablesAlone_data();
    void leavesOddTablesAlone();
};

void MountTableTest::mountsAndUnmounts_data()
{
    // The table that remains when every REV entry has been removed from it.
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArray>("after");
    const QByteArray x79(79, 'x'), x80(80, 'x'), x9999(9999, 'x');

    const QByteArrayList kept = {
        {},
        root,
        "/dev/hdb1 /media/a udf rw 0 0\n",
        "/dev/HDB /media/a udf rw 0 0\n",
        "/dev/hd /dev/hdb udf rw 0 0\n",
        root + "tmpfs /a\\040b tmpfs rw,size=10% 0 0\n/dev/sdb /c vfat rw 0 0\n",
        x79 + ' ' + x79 + " 123456789 " + x79 + " 1 2\n",
        // Outside the line model, so also with their blanks as they are.
        x80 + "  /a ext4 rw 0 0\n" + root,
        "a\t" + x9999 + " ext4 rw 0 0\n" + root,
        "a  /b fuse.sshfs1 rw 0 0\n",
        "a  /b ext4 " + x80 + " 0 0\n",
        "a  /b ext4 rw 10 0\n",
        "a  /b ext4 rw 0 10\n",
        "a  /b ext4 rw 0\n" + root,
        "a\n" + root,
        "a  /b ext4 rw 0 0 more\n",
        "#  a comment\n" + root,
    };
    for (const QByteArray& lines : kept)
        QTest::newRow(lines.left(40).constData()) << lines << lines;
    QTest::newRow("several entries of the disk") << rev + root + rev + "/dev/hdb /x iso9660 ro 0 0\n" << root;
    QTest::newRow("malformed entry of the disk") << "/dev/hdb\n" + root << root;
    QTest::newRow("blanks, empty lines") << QByteArray(" a \t /b  ext4 rw\t0   1 \n\n \n") + root
                                         << "a /b ext4 rw 0 1\n" + root;
    QTest::newRow("no line feed at the end") << root + "a /b ext4 rw 0 0" << root + "a /b ext4 rw 0 0\n";
}

void MountTableTest::mountsAndUnmounts()
{
    QFETCH(QByteArray, before);
    QFETCH(QByteArray, after);
    WriteFile(table, before);

    QVERIFY(MountRev());
    QCOMPARE(Kernel::calls, QStringList{"mount /dev/hdb /mnt/rev/ udf 0 ''"});
    const QByteArray lineEnd = before.isEmpty() || before.endsWith('\n') ? "" : "\n";
    QCOMPARE(ReadFile(table), QByteArray(before + lineEnd + rev));

    bool unmounted = false;
    const QByteArray printed = Printed([&unmounted] {
        unmounted = UmountRev();
    });
    QVERIFY(unmounted);
    QCOMPARE(Kernel::calls.last(), "umount /mnt/rev/");
    QCOMPARE(ReadFile(table), after);
    QCOMPARE(printed, after);
}

void MountTableTest::believesTheKernel_data()
{
    QTest::addColumn<int>("error");
    QTest::addColumn<bool>("mounted");
    QTest::newRow("mounted already") << EBUSY << true;
    QTest::newRow("no disk") << ENOMEDIUM << false;
    QTest::newRow("no UDF on it") << EINVAL << false;
    QTest::newRow("no UDF in the kernel") << ENODEV << false;
    QTest::newRow("not permitted") << EPERM << false;
}

void MountTableTest::believesTheKernel()
{
    QFETCH(int, error);
    Kernel::mountErrno = Kernel::umountErrno = error;
    WriteFile(table, rev + ' ' + root);
    QTEST(MountRev(), "mounted");
    QVERIFY(!UmountRev());
    QCOMPARE(ReadFile(table), QByteArray(rev + ' ' + root));
}

void MountTableTest::leavesOddTablesAlone_data()
{
    QTest::addColumn<QString>("kind");
    for (const char* kind : {"missing", "directory", "read-only", "link to the kernel's list", "no temporary file"})
        QTest::newRow(kind) << QString::fromLatin1(kind);
}

void MountTableTest::leavesOddTablesAlone()
{
    QFETCH(QString, kind);
    const QString mountProgram = "/bin/mount";
    rlimit files;
    getrlimit(RLIMIT_NOFILE, &files);
    const rlim_t before = files.rlim_cur;
    WriteFile(table, rev + root);

    if (kind == "read-only") {
        QCOMPARE(QProcess::execute(mountProgram, {"-n", "--bind", table, table}), 0);
        QCOMPARE(QProcess::execute(mountProgram, {"-n", "-o", "remount,bind,ro", table}), 0);
    } else if (kind == "no temporary file") {
        files.rlim_cur = static_cast<rlim_t>(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)) + 1;
        close(static_cast<int>(files.rlim_cur) - 1); // room for one file more, which is the table itself
        setrlimit(RLIMIT_NOFILE, &files);
    } else {
        QVERIFY(QFile::remove(table));
        if (kind == "directory")
            QVERIFY(QDir().mkdir(table));
        else if (kind != "missing")
            QVERIFY(QFile::link("/proc/self/mounts", table));
    }
    const QByteArray content = ReadFile(table);
    const bool unmounted = UmountRev();
    const bool mounted = kind == "no temporary file" || MountRev();
    files.rlim_cur = before;
    setrlimit(RLIMIT_NOFILE, &files);
    QVERIFY(unmounted);
    QVERIFY(mounted);
    QCOMPARE(ReadFile(table), content);
    if (kind == "read-only")
        QCOMPARE(QProcess::execute("/bin/umount", {"-n", table}), 0);
}

QTEST_GUILESS_MAIN(MountTableTest)
#include "mounttabletest.moc"
