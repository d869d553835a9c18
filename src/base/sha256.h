// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <memory>
#include <string>

/** A SHA-256 in the making, by libcrypto with the processor's own instructions. */
class Sha256
{
public:
    Sha256();
    ~Sha256();
    Sha256(Sha256&&) noexcept = default;
    Sha256& operator=(Sha256&&) noexcept = default;

    void Add(const void* data, size_t size);

    /** The hash of all that was added, as 64 hexadecimal digits. To be called once. */
    std::string Hex();

private:
    struct Free
    {
        void operator()(void* context) const;
    };
    std::unique_ptr<void, Free> context;
};

std::string Sha256Of(const std::string& text);

/** Two hexadecimal digits for each byte, in small letters. */
std::string Hexadecimal(const unsigned char* bytes, size_t size);
