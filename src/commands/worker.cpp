// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "worker.h"

#include "failure.h"
#include "process.h"

#include <cerrno>
#include <chrono>
#include <csignal>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {
using Clock = std::chrono::steady_clock;

// After a request to end: for the worker to come to its end by itself, and to be killed.
constexpr std::chrono::milliseconds patience(750);
constexpr std::chrono::milliseconds killing(100);

/** What is waited for. The caller's settings are undone, but for a signal that is to be ignored, as under nohup. */
sigset_t AwaitedSignals()
{
    sigset_t awaited;
    sigemptyset(&awaited);
    std::signal(SIGCHLD, SIG_DFL); // ignored, it would take the ends of processes away
    sigaddset(&awaited, SIGCHLD);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        struct sigaction action = {};
        sigaction(signal, nullptr, &action);
        if (action.sa_handler != SIG_IGN)
            sigaddset(&awaited, signal);
    }
    return awaited;
}

int StatusOf(int end, int request)
{
    if (WIFEXITED(end))
        return WEXITSTATUS(end);
    if (request != 0)
        return 128 + request;
    Warn("the work was ended by signal " + std::to_string(WTERMSIG(end)));
    return static_cast<int>(ExitStatus::Failed);
}

int WaitForWorker(pid_t worker, const sigset_t& awaited)
{
    constexpr timespec tick = {0, 50000000};
    int request = 0;
    Clock::time_point end = Clock::time_point::max();
    bool killed = false;
    for (;;) {
        int status = 0;
        if (waitpid(worker, &status, WNOHANG) == worker)
            return StatusOf(status, request);
        if (Clock::now() >= end) {
            if (killed)
                return 128 + request;
            kill(worker, SIGKILL);
            killed = true;
            end += killing;
        }
        const int signal = sigtimedwait(&awaited, nullptr, &tick);
        if (signal <= 0 || signal == SIGCHLD || request != 0)
            continue;
        request = signal;
        end = Clock::now() + patience;
        kill(worker, signal);
    }
}
} // namespace

int RunInWorker(const std::function<int()>& work)
{
    const sigset_t awaited = AwaitedSignals();
    sigprocmask(SIG_SETMASK, &awaited, nullptr);
    const pid_t self = getpid();
    const pid_t worker = fork();
    if (worker < 0)
        throw SystemFailure(ExitStatus::Failed, "no process can be started", errno);
    if (worker > 0)
        return WaitForWorker(worker, awaited);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != self)
        _exit(1);
    StopRequest::Watch();
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    return work();
}
