// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "writeguard.h"

#include "contents.h"
#include "failure.h"

#include <cerrno>
#include <chrono>
#include <csignal>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {
void MakeUseless(const Device& partition)
{
    std::string cleared;
    try {
        WipeSignatures(partition);
    } catch (const Failure& failure) {
        cleared = std::string("; ") + failure.what();
    }
    Warn(partition.path + ": the writing broke off, what is on it now is useless; restore it again" + cleared);
}

/** In a process of its own: waits for the last writer's end, or for the word that all is well. */
[[noreturn]] void Watch(int life, const std::function<void()>& undo)
{
    setsid();
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGPIPE})
        std::signal(signal, SIG_IGN);
    char word = 0;
    ssize_t count = 0;
    while ((count = read(life, &word, 1)) < 0 && errno == EINTR) { }
    if (count != 1)
        undo();
    _exit(0);
}
} // namespace

WriteGuard::WriteGuard(const Device& partition)
    : WriteGuard([&partition] {
        MakeUseless(partition);
    })
{
}

WriteGuard::WriteGuard(const std::function<void()>& undo)
{
    int ends[2];
    if (pipe(ends) != 0)
        throw SystemFailure(ExitStatus::Failed, "the writing cannot be watched", errno);
    fcntl(ends[0], F_SETFD, FD_CLOEXEC);
    watcher = fork();
    if (watcher < 0)
        throw SystemFailure(ExitStatus::Failed, "the writing cannot be watched", errno);
    if (watcher == 0) {
        close(ends[1]);
        Watch(ends[0], undo);
    }
    close(ends[0]);
    life = ends[1];
}

WriteGuard::~WriteGuard()
{
    close(life);
    // An ordinary failure may take its time; a request to end may not.
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(600);
    while (waitpid(watcher, nullptr, WNOHANG) == 0 && std::chrono::steady_clock::now() < end)
        usleep(5000);
}

void WriteGuard::Done()
{
    [[maybe_unused]] const ssize_t written = write(life, "k", 1);
}
