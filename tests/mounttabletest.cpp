// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "stand.h"
#include "utility.h"

#include <QProcess>
#include <QRegularExpression>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <mntent.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {
const QString table = "/etc/mtab";
const QByteArray rev = "/dev/hdb /mnt/rev/ udf defaults,rw,users,noauto 0 0\n";
const QByteArray root = "/dev/sda1 / ext4 rw 0 1\n";

/** Sets a limit of the process; gives what it was. */
rlim_t Limit(__rlimit_resource resource, rlim_t value)
{
    rlimit limits;
    getrlimit(resource, &limits);
    std::swap(limits.rlim_cur, value);
    setrlimit(resource, &limits);
    return value;
}
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

    void allowsNoDevicesAndNoPrograms()
    {
        for (const int error : {0, EBUSY, ENXIO}) {
            Kernel::mountErrno = error;
            Kernel::attributes.clear();
            QCOMPARE(MountRev(), error != ENXIO);
            QCOMPARE(Kernel::attributes.join('|'), QString(error == ENXIO ? "" : "/mnt/rev/ e 0"));
        }
        Kernel::mountErrno = 0;
        Kernel::attributeErrno = ENOSYS;
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^/mnt/rev/: devices .*: Function not implemented"));
        QVERIFY(MountRev());
    }

    // Who reads it meanwhile, as a power cut does, has the old table or the new one.
    void replacesTheTableAsAWhole()
    {
        WriteFile(table, rev + root);
        QVERIFY(QFile::setPermissions(table, QFile::ReadOwner | QFile::WriteOwner));
        QFile reader(table);
        QVERIFY(reader.open(QIODevice::ReadOnly) && UmountRev());
        QCOMPARE(reader.readAll(), rev + root);
        QCOMPARE(ReadFile(table), root);
        QCOMPARE(QFileInfo(table).permissions() & QFile::ReadOther, QFile::Permissions());
        QCOMPARE(QDir("/etc").entryList({"mtab*"}), QStringList("mtab"));
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

    void keepsTheTableWhereTheKernelRefuses()
    {
        WriteFile(table, rev + root);
        Kernel::mountErrno = Kernel::umountErrno = EBUSY; // mounted already, and in use
        QVERIFY(MountRev() && !UmountRev());
        Kernel::mountErrno = ENOMEDIUM;
        QVERIFY(!MountRev());
        QCOMPARE(ReadFile(table), rev + root);
    }

    void keepsTheTableWithoutRoom_data()
    {
        // how many files may be open besides the table, and how long a file may get
        Columns<QByteArray, int, int>("before", "files", "length");
        const QByteArray other = "/dev/sdb\t/a ext4 rw 0 0\n"; // becomes another text of the same length
        Row("no temporary file", rev + root, 0, 9999);
        Row("temporary file full", rev + root + QByteArray(4097 - (rev + root).size(), '#'), 9, 4095);
        Row("table cut", other + "  " + QByteArray(4094 - other.size(), '#'), 9, 4096); // gets a line feed at its end
    }

    void keepsTheTableWithoutRoom()
    {
        QFETCH(QByteArray, before);
        QFETCH(int, files);
        QFETCH(int, length);
        WriteFile(table, before);
        FILE* const stream = setmntent("/etc/mtab", "r");
        const int next = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0);
        close(next);
        std::signal(SIGXFSZ, SIG_IGN);
        const rlim_t filesBefore = Limit(RLIMIT_NOFILE, next + files), lengthBefore = Limit(RLIMIT_FSIZE, length);
        const int result = delmntent(stream, "/dev/hdb");
        Limit(RLIMIT_NOFILE, filesBefore);
        Limit(RLIMIT_FSIZE, lengthBefore);
        QVERIFY(result != 0);
        QCOMPARE(ReadFile(table), before);
    }

    void echoesWhatItKeeps()
    {
        enum class Reader { Reads, IsGone, Sleeps };
        for (const Reader reader : {Reader::Reads, Reader::IsGone, Reader::Sleeps}) {
            WriteFile(table, rev + root);
            int pipe[2];
            QCOMPARE(pipe2(pipe, O_NONBLOCK), 0);
            const std::string rest(4096, '.');
            while (reader == Reader::Sleeps && write(pipe[1], rest.data(), rest.size()) > 0) { }
            fcntl(pipe[1], F_SETFL, 0);
            if (reader == Reader::IsGone)
                close(pipe[0]);
            const int terminal = dup(STDOUT_FILENO);
            dup2(pipe[1], STDOUT_FILENO);
            const bool unmounted = UmountRev();
            dup2(terminal, STDOUT_FILENO);
            QVERIFY(unmounted);
            QCOMPARE(ReadFile(table), root);
            if (reader == Reader::Reads) {
                std::string echoed(4096, '\0');
                echoed.resize(read(pipe[0], echoed.data(), echoed.size()));
                QCOMPARE(echoed, root.toStdString());
            }
            for (const int descriptor : {pipe[0], pipe[1], terminal})
                close(descriptor);
        }
    }
};

QTEST_MAIN(MountTableTest)
#include "mounttabletest.moc"
