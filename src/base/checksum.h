// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

/**
 * Tells within one run whether two sequences of bytes are the same: XXH3 with 128 bits, which costs next to nothing
 * beside a compressor. For what is kept in a file there is Sha256.
 */
class Checksum
{
public:
    using Value = std::array<uint64_t, 2>;

    Checksum();

    void Add(const void* data, size_t size);

    /** Of all that was added so far. */
    [[nodiscard]] Value Sum() const;

private:
    struct Free
    {
        void operator()(void* state) const;
    };
    std::unique_ptr<void, Free> state;
};
