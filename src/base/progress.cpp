// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "progress.h"

#include <cstdio>
#include <ctime>

#include <fcntl.h>
#include <unistd.h>

namespace {
int listener = -1;
time_t lastSecond = 0;
} // namespace

void Progress::Use(int descriptor)
{
    listener = descriptor;
    fcntl(listener, F_SETFL, fcntl(listener, F_GETFL) | O_NONBLOCK);
    fcntl(listener, F_SETFD, FD_CLOEXEC);
}

void Progress::Report(uint64_t done, uint64_t total)
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    if (listener < 0 || (now.tv_sec == lastSecond && done != total))
        return;
    lastSecond = now.tv_sec;
    char line[96];
    const int size = snprintf(line, sizeof line, "{\"done\":%llu,\"total\":%llu}\n",
        static_cast<unsigned long long>(done), static_cast<unsigned long long>(total));
    [[maybe_unused]] const ssize_t written = write(listener, line, size);
}
