// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "enclosure.h"
#include "diskimages.h"
#include "enclosedcalls.h"
#include "mountspace.h"

#include <cerrno>
#include <csignal>

#include <sched.h>
#include <scsi/sg.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>

namespace {
struct Call
{
    const char* name;
    std::function<bool()> isLetThrough;
};

bool Dumps()
{
    const rlimit none = {0, 1};
    return syscall(SYS_setrlimit, RLIMIT_CORE, &none) == 0 || setrlimit(RLIMIT_CORE, &none) == 0;
}

const Call calls[] = {
    {"a mount", ATTEMPT(mount("none", "/mnt", "tmpfs", 0, nullptr) == 0)},
    {"a user name space", ATTEMPT(unshare(CLONE_NEWUSER) == 0)},
    {"a process in a name space",
        ATTEMPT(syscall(SYS_clone, CLONE_NEWNET | SIGCHLD, nullptr, nullptr, nullptr, nullptr) >= 0)},
    {"keys", ATTEMPT(syscall(SYS_keyctl, 0, -3, 1) >= 0)},
    {"a socket", ATTEMPT(socket(AF_UNIX, SOCK_STREAM, 0) >= 0)},
    {"a process that is traced", ATTEMPT(ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0)},
    {"a raw command to a drive", ATTEMPT(ioctl(open("/dev/null", O_RDWR), SG_IO, nullptr) != -1 || errno == ENOTTY)},
    {"a life after its overseer's", ATTEMPT(prctl(PR_SET_PDEATHSIG, 0) == 0)},
    {"a crash that is collected", Dumps},
};

bool Confine()
{
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && RefuseCalls();
}

#ifdef __x86_64__
/** As a program of 32 bits does, with null pointers and zeros. */
long Call32(long number)
{
    asm volatile("int $0x80" : "+a"(number) : "b"(0), "c"(0), "d"(0), "S"(0), "D"(0) : "memory");
    return number;
}
#endif
} // namespace

/** What is left to the installer of a restored system. */
class EnclosureTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        EnterMountSpace();
        const StageEnd first = RunEnclosed({}, {"true"});
        const QByteArray said = first.said.c_str();
        if (!first.Succeeded() && (said.contains("/proc") || said.contains("/sys")))
            QSKIP("this machine lets no name space have a /proc and a /sys of its own");
        QVERIFY2(first.Succeeded(), said.constData());
        qputenv("NORVO_INSTALLER_SECONDS", "9");
    }

    void refusesCalls()
    {
        for (const Call& call : calls) {
            QVERIFY2(Succeeds(call.isLetThrough), call.name);
            const bool isRefused = !Succeeds([&call] {
                return Confine() && call.isLetThrough();
            });
            QVERIFY2(isRefused, call.name);
        }
    }

#ifdef __x86_64__
    void runsProgramsOf32Bits()
    {
        constexpr long getpid32 = 20;
        constexpr long mount32 = 21;
        if (!Succeeds([] {
                return Call32(getpid32) == getpid();
            }))
            QSKIP("this kernel runs no programs of 32 bits");
        QVERIFY(Succeeds([] {
            return Confine() && Call32(getpid32) == getpid() && Call32(mount32) == -EPERM;
        }));
    }
#endif

    void keepsToLimits_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<QString>("end"); // or nothing, for one that succeeds
        const auto row = [](const char* name, const char* script, const char* end) {
            QTest::newRow(name) << script << end;
        };
        const char* const silence = "said nothing for 3 seconds and did not end";
        row("is done", "echo words >&2; sleep 0.3; echo words >&2", "");
        row("is silent", "sleep 600 & sleep 600", silence);
        row("closes its mouth", "exec 2>&-; sleep 600", silence);
        row("speaks to nobody", "while :; do echo .; done", silence);
        row("goes on", "while :; do echo . >&2; sleep 0.5; done", "did not end within 9 seconds");
        row("floods", "printf -v t %9999s; while :; do echo \"$t\" >&2; done", "said more than 1024 KiB");
        // What else it may not: memory has an end, and the machine's nodes a mode, which is set to what it is: a row
        // that fails does no harm.
        row("changes a node", "! chmod 666 /dev/null /dev/zero 2>&1", "");
        row("changes what is open", "! chmod 666 /proc/self/fd/0 2>&1", "");
#ifndef __SANITIZE_ADDRESS__
        row("takes memory", "[[ $(ulimit -v) == 2097152 ]]", "");
#endif
        row("lives on", "[[ $(</proc/self/oom_score_adj) == 1000 ]]", "");
    }

    void keepsToLimits()
    {
        QFETCH(QString, script);
        QFETCH(QString, end);
        const QString told = Complaint([&script] {
            const StageEnd result = RunEnclosed({}, {"bash", "-c", script.toStdString()});
            QVERIFY2(result.Succeeded(), result.said.c_str());
        });
        QCOMPARE(told, end.isEmpty() ? "" : "74 bash " + end + "; it was ended, with all that it had started");
    }
};

QTEST_GUILESS_MAIN(EnclosureTest)
#include "enclosuretest.moc"
