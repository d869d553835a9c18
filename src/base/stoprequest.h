// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

/** Thrown where a signal has asked the command to end. */
class Interrupted
{
public:
    explicit Interrupted(int signal)
        : signal(signal)
    {
    }

    int signal;
};

/** The request to end: SIGTERM, SIGINT and SIGHUP, from StopRequest::Watch() on. */
namespace StopRequest {
void Watch();

/** Becomes readable when a signal has come; -1 before Watch(). */
int Descriptor();

/** Throws Interrupted when a signal has come. Called in every loop that can last. */
void Check();

/** In a new process: signals do what they do by themselves there. */
void Unwatch();
} // namespace StopRequest
