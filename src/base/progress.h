// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <cstdint>
#include <functional>
#include <string>

/**
 * How far the work is, for whoever listens: a line {"done":N,"total":N} a second on the descriptor of --progress-fd,
 * in bytes. A listener that is slow or gone loses lines and never holds up the work.
 */
namespace Progress {
void Use(int descriptor);

/** Another listener, called at the same times; it must not wait. */
void Tell(const std::function<void(uint64_t done, uint64_t total)>& teller);

/** From now on a line on standard output every ten per cent, as "hdc1: 30 % (412 of 1300 MB)". */
void Print(const std::string& name);

/** Called as often as one likes. A total of 0 means that it is not known. */
void Report(uint64_t done, uint64_t total);
} // namespace Progress
