// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "descriptor.h"

#include <chrono>
#include <string>

#include <sys/types.h>

/** How long a program may take that nobody here wrote, and how much it may say. */
struct Limits
{
    /**
     * Half an hour, a third of that without a word: an installer that copies a few megabytes to a slow disk, behind
     * what a whole restore has left to write, needs less. Whoever starts the command can set another time.
     */
    static Limits Given();

    std::chrono::seconds whole;
    std::chrono::seconds silence;
    size_t words = 1U << 20; ///< bytes on standard error
};

/**
 * Hands what `program`, a child, says on to standard error and waits for its end. Beyond the limits it is ended; as the
 * first process of its process name space it takes all that it started along.
 *
 * @param voice what it says; becomes non-blocking
 * @param status as waitpid() gives it
 * @return which limit it went beyond, for the operator, as "did not end within 30 minutes"; empty for none
 */
std::string Oversee(pid_t program, const Descriptor& voice, const Limits& limits, int& status);
