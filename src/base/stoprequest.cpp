// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "stoprequest.h"

#include "failure.h"

#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <unistd.h>

namespace {
volatile sig_atomic_t stopSignal = 0;
int stopPipe[2] = {-1, -1};

extern "C" void NoteSignal(int signal)
{
    const int saved = errno;
    stopSignal = signal;
    [[maybe_unused]] const ssize_t written = write(stopPipe[1], "", 1);
    errno = saved;
}
} // namespace

void StopRequest::Watch()
{
    if (pipe2(stopPipe, O_CLOEXEC | O_NONBLOCK) != 0)
        throw SystemFailure(ExitStatus::Failed, "no pipe can be made", errno);
    struct sigaction action = {};
    action.sa_handler = NoteSignal;
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        struct sigaction before = {};
        sigaction(signal, nullptr, &before);
        if (before.sa_handler != SIG_IGN) // as under nohup
            sigaction(signal, &action, nullptr);
    }
}

int StopRequest::Descriptor()
{
    return stopPipe[0];
}

void StopRequest::Check()
{
    if (stopSignal != 0)
        throw Interrupted(stopSignal);
}

void StopRequest::Unwatch()
{
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGPIPE})
        std::signal(signal, SIG_DFL);
    stopPipe[0] = stopPipe[1] = -1;
}
