// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "descriptor.h"
#include "device.h"

#include <sys/types.h>

/**
 * Watches over the writing of a partition. A half-written file system can be mounted and looks sound, so whatever ends
 * the writing early, the kill of this process included, its signatures are cleared when the last writer is gone, and
 * one line says that the partition is useless.
 */
class WriteGuard
{
public:
    explicit WriteGuard(const Device& device);

    /** The writing has not come to its end unless Done() was called. Waits for the clearing, less than a second. */
    ~WriteGuard();
    WriteGuard(const WriteGuard&) = delete;
    WriteGuard& operator=(const WriteGuard&) = delete;

    void Done();

private:
    pid_t watcher = -1;
    int life = -1; ///< held by every writer: without O_CLOEXEC
};
