// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <cstdint>

/** Two places of a partition where its file system keeps the same bytes; offsets in bytes from the beginning. */
struct Twins
{
    uint64_t first = 0;
    uint64_t second = 0;
    uint64_t bytes = 0;
};
