// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/** The number in `size` bytes (8 at most) from `place` on, the lowest first; the bytes have to be there. */
inline uint64_t LittleEndian(const std::string& bytes, size_t place, unsigned size)
{
    uint64_t number = 0;
    for (unsigned i = size; i > 0; --i)
        number = number << 8 | static_cast<unsigned char>(bytes[place + i - 1]);
    return number;
}

/** The other way. */
inline std::string ToLittleEndian(uint64_t number, unsigned size)
{
    std::string bytes;
    for (unsigned i = 0; i < size; ++i, number >>= 8)
        bytes += static_cast<char>(number & 0xff);
    return bytes;
}
