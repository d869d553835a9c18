// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "failure.h"

#include "descriptor.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <unistd.h>

namespace {
std::string commandName = "norvo";
std::vector<std::string> warnings;

/** How many bytes the UTF-8 sequence at `place` has; 0 where there is none. */
size_t SequenceLength(const std::string& text, size_t place)
{
    const auto lead = static_cast<unsigned char>(text[place]);
    const size_t length = lead < 0x80 ? 1
        : lead >= 0xc2 && lead < 0xe0 ? 2
        : (lead & 0xf0) == 0xe0       ? 3
        : lead >= 0xf0 && lead < 0xf5 ? 4
                                      : 0;
    for (size_t i = 1; i < length; ++i) {
        if (place + i >= text.size() || (static_cast<unsigned char>(text[place + i]) & 0xc0) != 0x80)
            return 0;
    }
    return length;
}

/** In one piece, so that lines of several processes don't mix; nobody who reads it any more is no error. */
void Write(int descriptor, const std::string& line)
{
    [[maybe_unused]] const ssize_t written = write(descriptor, line.data(), line.size());
}
} // namespace

Failure SystemFailure(ExitStatus status, const std::string& text, int error)
{
    return {status, text + ": " + strerror(error)};
}

std::string Printable(const std::string& text)
{
    std::string result;
    for (size_t place = 0; place < text.size();) {
        const size_t length = SequenceLength(text, place);
        const auto byte = static_cast<unsigned char>(text[place]);
        if (length > 1 || (length == 1 && byte >= 0x20 && byte != 0x7f)) {
            result.append(text, place, length);
            place += length;
        } else {
            char escaped[8];
            snprintf(escaped, sizeof escaped, "\\%03o", byte);
            result += escaped;
            ++place;
        }
    }
    return result;
}

void Warn(const std::string& text)
{
    warnings.push_back(text);
    Write(STDERR_FILENO, commandName + ": " + Printable(text) + "\n");
}

const std::vector<std::string>& Warnings()
{
    return warnings;
}

void Say(const std::string& text)
{
    Write(STDOUT_FILENO, Printable(text) + "\n");
}

void Answer(const std::string& text)
{
    const std::string line = Printable(text) + "\n";
    if (!WriteAll(STDOUT_FILENO, line.data(), line.size()) && errno != EPIPE)
        throw SystemFailure(ExitStatus::Failed, "what was found can't be written to standard output", errno);
}

const std::string& CommandName()
{
    return commandName;
}

void SetCommandName(const std::string& name)
{
    commandName = name;
}
