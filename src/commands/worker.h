// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <functional>

/**
 * Runs `work` in a process of its own and gives its result, the exit status, in this one and in that one. While a
 * medium doesn't answer, the kernel lets nothing end a process that waits for it. This process waits for the other's
 * end alone: it hands SIGTERM, SIGINT and SIGHUP on, ends within a second of them in any case, and leaves a worker that
 * can't end to be killed by the kernel when it can. The worker does not outlive it otherwise.
 */
int RunInWorker(const std::function<int()>& work);
