// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "descriptor.h"

#include <string>

#include <sys/un.h>

/**
 * The local socket by which the commands speak to norvoReport, the window that shows what they do: in a folder that
 * only this user can open.
 */
namespace ReportSocket {
/**
 * Its path, in $XDG_RUNTIME_DIR or in `run`; the folder is made where it is missing. Empty where neither has room for a
 * folder that is this user's alone.
 */
std::string Path(const std::string& run = "/run");

/** The address for connect(2) and bind(2). */
sockaddr_un Address(const std::string& path);

/** What listens: the socket, and the lock that tells one in use from what is left of one that was killed. */
struct Listening
{
    Descriptor socket;
    Descriptor lock;
};

/** Begins to listen; an empty socket where somebody listens already, or there is no folder for it. */
Listening Listen();

/** Whether the process at the other end of a connection is this user's. */
bool IsOwn(int descriptor);
} // namespace ReportSocket
