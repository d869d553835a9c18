// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <cstdint>

/**
 * How far the work is, for whoever listens: a line {"done":N,"total":N} a second on the descriptor of --progress-fd,
 * in bytes. A listener that is slow or gone loses lines and never holds up the work.
 */
namespace Progress {
void Use(int descriptor);

/** Called as often as one likes. A total of 0 means that it is not known. */
void Report(uint64_t done, uint64_t total);
} // namespace Progress
