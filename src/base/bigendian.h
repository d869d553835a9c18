// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/** The number in `size` bytes (8 at most) from `place` on, the highest first; the bytes have to be there. */
inline uint64_t BigEndian(const std::string& bytes, size_t place, unsigned size)
{
    uint64_t number = 0;
    for (unsigned i = 0; i < size; ++i)
        number = number << 8 | static_cast<unsigned char>(bytes[place + i]);
    return number;
}
