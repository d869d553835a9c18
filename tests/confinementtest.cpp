// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "confinement.h"
#include "process.h"

#include <csignal>
#include <fstream>
#include <functional>
#include <iterator>
#include <thread>

#include <fcntl.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QtTest>

namespace {
using Work = Confinement::Work;

struct Attempt
{
    const char* name;
    std::function<bool()> succeeds;
    bool allowedToPrograms;
    bool allowedToFunctions;
};

int inherited = -1;

const Attempt attempts[] = {
    {"a file is read",
        [] {
            return open("/etc/passwd", O_RDONLY) >= 0;
        },
        true, false},
    {"the key is read",
        [] {
            return open("/etc/norvo-clone-restore/key", O_RDONLY) >= 0;
        },
        false, false},
    {"a program is started",
        [] {
            return execl("/bin/true", "true", nullptr) == 0;
        },
        true, false},
    {"a thread works",
        [] {
            bool done = false;
            std::thread([&done] {
                done = true;
            }).join();
            return done;
        },
        true, true},
    {"a process of its own",
        [] {
            const pid_t child = fork();
            if (child == 0)
                _exit(0);
            return child > 0 && waitpid(child, nullptr, 0) == child;
        },
        true, true},
    {"what was open is used",
        [] {
            return write(inherited, "x", 1) == 1;
        },
        false, true},
    {"a file is made",
        [] {
            return open("/mnt/rev/made", O_WRONLY | O_CREAT, 0600) >= 0;
        },
        false, false},
    {"a device is opened",
        [] {
            return open("/dev/zero", O_RDONLY) >= 0;
        },
        false, false},
    {"a socket",
        [] {
            return socket(AF_UNIX, SOCK_STREAM, 0) >= 0;
        },
        false, false},
    {"a signal to another process",
        [] {
            return kill(getppid(), 0) == 0;
        },
        false, false},
    {"the memory of another process",
        [] {
            return open(("/proc/" + std::to_string(getppid()) + "/mem").c_str(), O_RDWR) >= 0;
        },
        false, false},
    {"a privilege",
        [] {
            std::ifstream file("/proc/self/status");
            const std::string status((std::istreambuf_iterator<char>(file)), {});
            return status.find("CapEff:\t00000") != std::string::npos
                && status.find("CapEff:\t0000000000000000") == std::string::npos;
        },
        false, false},
    {"a mount",
        [] {
            return mount("none", "/mnt", "tmpfs", 0, nullptr) == 0;
        },
        false, false},
    {"a name space",
        [] {
            return unshare(CLONE_NEWNET) == 0;
        },
        false, false},
#ifndef __SANITIZE_ADDRESS__
    {"more memory",
        [] {
            constexpr int flags = MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE;
            return mmap(nullptr, 8UL << 30, PROT_READ, flags, -1, 0) != MAP_FAILED;
        },
        false, false},
#endif
};

bool Succeeds(const Attempt& attempt, const std::function<void()>& prepare)
{
    return RunFunction("attempt", [&] {
        prepare();
        return attempt.succeeds() ? 0 : 1;
    }).Succeeded();
}
} // namespace

/** What is left to a process that handles bytes of others. Each attempt succeeds in one that isn't confined. */
class ConfinementTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void leavesWhatTheWorkNeeds()
    {
        const Descriptor file = Descriptor::Open("/mnt/rev/open", O_WRONLY | O_CREAT);
        inherited = file.Get();
        mkdir("/etc/norvo-clone-restore", 0755);
        close(open("/etc/norvo-clone-restore/key", O_WRONLY | O_CREAT, 0600));
        for (const Attempt& attempt : attempts) {
            QVERIFY2(Succeeds(attempt, [] {}), attempt.name);
            for (const Work work : {Work::Program, Work::Function}) {
                const bool succeeded = Succeeds(attempt, [work] {
                    Confinement{work, 1ULL << 30}();
                });
                const bool allowed = work == Work::Program ? attempt.allowedToPrograms : attempt.allowedToFunctions;
                QVERIFY2(succeeded == allowed, attempt.name);
            }
        }
    }
};

QTEST_GUILESS_MAIN(ConfinementTest)
#include "confinementtest.moc"
