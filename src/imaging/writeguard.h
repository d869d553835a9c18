// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "descriptor.h"
#include "device.h"

#include <functional>

#include <sys/types.h>

/** Watches over writing: something is done when it ends early, whatever ends it, the kill of this process included. */
class WriteGuard
{
public:
    /** @param undo called in a process of its own, when the last writer is gone */
    explicit WriteGuard(const std::function<void()>& undo);

    /**
     * A half-written file system can be mounted and looks sound, so the partition's signatures are cleared, and one
     * line says that it is useless.
     */
    explicit WriteGuard(const Device& partition);

    /** The writing has not come to its end unless Done() was called. Waits for the undoing, less than a second. */
    ~WriteGuard();
    WriteGuard(const WriteGuard&) = delete;
    WriteGuard& operator=(const WriteGuard&) = delete;

    void Done();

private:
    pid_t watcher = -1;
    int life = -1; ///< held by every writer: without O_CLOEXEC
};
