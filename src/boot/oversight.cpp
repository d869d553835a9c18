// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "oversight.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {
using Clock = std::chrono::steady_clock;
using std::chrono::seconds;

std::string InWords(seconds time)
{
    const auto count = time.count();
    return count % 60 == 0 ? std::to_string(count / 60) + " minutes" : std::to_string(count) + " seconds";
}

/** Hands on what has been said, up to `most` bytes; how many there were. */
size_t HandOn(const Descriptor& voice, size_t most)
{
    size_t all = 0;
    char buffer[4096];
    for (ssize_t count = 1; count > 0 && all < most; all += static_cast<size_t>(std::max<ssize_t>(count, 0))) {
        count = read(voice.Get(), buffer, sizeof buffer);
        if (count > 0)
            WriteAll(STDERR_FILENO, buffer, static_cast<size_t>(count));
    }
    return all;
}
} // namespace

Limits Limits::Given()
{
    constexpr long half = 1800;
    constexpr long day = 86400;
    const char* const given = getenv("NORVO_INSTALLER_SECONDS");
    char* end = nullptr;
    const long number = given == nullptr ? half : std::strtol(given, &end, 10);
    const bool isTime = number > 0 && number <= day && (end == nullptr || *end == '\0');
    const seconds whole(isTime ? number : half);
    return {whole, std::max(whole / 3, seconds(1))};
}

std::string Oversee(pid_t program, const Descriptor& voice, const Limits& limits, int& status)
{
    fcntl(voice.Get(), F_SETFL, O_NONBLOCK);
    const Clock::time_point begin = Clock::now();
    Clock::time_point heard = begin;
    size_t left = limits.words;
    pollfd said = {voice.Get(), POLLIN, 0};
    for (;;) {
        const bool hasEnded = waitpid(program, &status, WNOHANG) == program;
        const size_t words = HandOn(voice, left);
        if (hasEnded)
            return {};
        std::string beyond;
        heard = words > 0 ? Clock::now() : heard;
        if (words >= left)
            beyond = "said more than " + std::to_string(limits.words >> 10) + " KiB";
        else if (Clock::now() - begin >= limits.whole)
            beyond = "did not end within " + InWords(limits.whole);
        else if (Clock::now() - heard >= limits.silence)
            beyond = "said nothing for " + InWords(limits.silence) + " and did not end";
        if (!beyond.empty()) {
            kill(program, SIGKILL);
            while (waitpid(program, &status, 0) < 0 && errno == EINTR) { }
            return beyond;
        }
        left -= words;
        // One that has closed its mouth is looked at now and then.
        said.fd = (said.revents & POLLHUP) != 0 ? -1 : said.fd;
        poll(&said, 1, 50);
    }
}
