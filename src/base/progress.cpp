// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "progress.h"

#include "failure.h"

#include <cstdio>
#include <ctime>

#include <fcntl.h>
#include <unistd.h>

namespace {
int listener = -1;
time_t lastSecond = 0;
std::function<void(uint64_t, uint64_t)> teller;
std::string printed; ///< the name that lines on standard output begin with; empty as long as there are none
uint64_t lastTenth = 0;

void PrintTenth(uint64_t done, uint64_t total)
{
    constexpr uint64_t megabyte = 1000000;
    const uint64_t tenth = total == 0 ? 0 : done / (total / 10 + 1);
    const uint64_t reached = total > 0 && done == total ? 10 : tenth;
    if (printed.empty() || reached <= lastTenth)
        return;
    lastTenth = reached;
    Say(printed + ": " + std::to_string(reached * 10) + " % (" + std::to_string(done / megabyte) + " of "
        + std::to_string(total / megabyte) + " MB)");
}
} // namespace

void Progress::Use(int descriptor)
{
    listener = descriptor;
    fcntl(listener, F_SETFL, fcntl(listener, F_GETFL) | O_NONBLOCK);
    fcntl(listener, F_SETFD, FD_CLOEXEC);
}

void Progress::Tell(const std::function<void(uint64_t, uint64_t)>& teller)
{
    ::teller = teller;
}

void Progress::Print(const std::string& name)
{
    printed = name;
    lastTenth = 0;
}

void Progress::Report(uint64_t done, uint64_t total)
{
    PrintTenth(done, total);
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    if (now.tv_sec == lastSecond && done != total)
        return;
    lastSecond = now.tv_sec;
    if (teller)
        teller(done, total);
    if (listener < 0)
        return;
    char line[96];
    const int size = snprintf(line, sizeof line, "{\"done\":%llu,\"total\":%llu}\n",
        static_cast<unsigned long long>(done), static_cast<unsigned long long>(total));
    [[maybe_unused]] const ssize_t written = write(listener, line, size);
}
