// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "confinement.h"
#include "diskimages.h"

#include <csignal>
#include <fstream>
#include <future>

#include <sched.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>

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

constexpr int reserved = MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE;

bool Forks()
{
    const pid_t child = fork();
    if (child == 0)
        _exit(0);
    return child > 0 && waitpid(child, nullptr, 0) == child;
}

std::string MemoryOfParent()
{
    return "/proc/" + std::to_string(getppid()) + "/mem";
}

bool IsPrivileged()
{
    std::ifstream file("/proc/self/status");
    std::string status;
    std::getline(file, status, '\0');
    return !status.empty() && status.find("CapEff:\t0000000000000000") == std::string::npos;
}

const Attempt attempts[] = {
    {"a file is read", ATTEMPT(open("/etc/passwd", O_RDONLY) >= 0), true, false},
    {"the key is read", ATTEMPT(open("/etc/norvo-clone-restore/key", O_RDONLY) >= 0), false, false},
    {"a program is started", ATTEMPT(execl("/bin/true", "true", nullptr) == 0), true, false},
    {"a thread works", ATTEMPT(std::async(std::launch::async, getpid).get() == getpid()), true, true},
    {"a process of its own", Forks, true, true},
    {"what was open is used", ATTEMPT(write(inherited, "x", 1) == 1), false, true},
    {"a file is made", ATTEMPT(open("/mnt/rev/made", O_WRONLY | O_CREAT, 0600) >= 0), false, false},
    {"a device is opened", ATTEMPT(open("/dev/zero", O_RDONLY) >= 0), false, false},
    {"a socket", ATTEMPT(socket(AF_UNIX, SOCK_STREAM, 0) >= 0), false, false},
    {"a signal to another process", ATTEMPT(kill(getppid(), 0) == 0), false, false},
    {"the memory of another process", ATTEMPT(open(MemoryOfParent().c_str(), O_RDWR) >= 0), false, false},
    {"a privilege", IsPrivileged, false, false},
    {"a mount", ATTEMPT(mount("none", "/mnt", "tmpfs", 0, nullptr) == 0), false, false},
    {"a name space", ATTEMPT(unshare(CLONE_NEWNET) == 0), false, false},
#ifndef __SANITIZE_ADDRESS__
    {"more memory", ATTEMPT(mmap(nullptr, 8UL << 30, PROT_READ, reserved, -1, 0) != MAP_FAILED), false, false},
#endif
};
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
            QVERIFY2(Succeeds(attempt.succeeds), attempt.name);
            for (const Work work : {Work::Program, Work::Function}) {
                const bool succeeded = Succeeds([&attempt, work] {
                    Confinement{work, 1ULL << 30}();
                    return attempt.succeeds();
                });
                const bool allowed = work == Work::Program ? attempt.allowedToPrograms : attempt.allowedToFunctions;
                QVERIFY2(succeeded == allowed, attempt.name);
            }
        }
    }
};

QTEST_GUILESS_MAIN(ConfinementTest)
#include "confinementtest.moc"
