// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

/** Owns a file descriptor. */
class Descriptor
{
public:
    Descriptor() = default;
    explicit Descriptor(int number)
        : number(number)
    {
    }
    Descriptor(Descriptor&& other) noexcept
        : number(std::exchange(other.number, -1))
    {
    }
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        if (this != &other) {
            Close();
            number = std::exchange(other.number, -1);
        }
        return *this;
    }
    ~Descriptor()
    {
        Close();
    }

    explicit operator bool() const
    {
        return number >= 0;
    }
    [[nodiscard]] int Get() const
    {
        return number;
    }
    void Close();

    /** Somebody else closes it. */
    int Release()
    {
        return std::exchange(number, -1);
    }

    /** open(2) with O_CLOEXEC; an empty one, with errno, when that fails. A new file is its user's alone by default. */
    static Descriptor Open(const std::string& path, int flags, int mode = 0600);

    /** Both ends of a pipe of the largest size that the system allows, up to 1 MiB. */
    static std::pair<Descriptor, Descriptor> Pipe();

private:
    int number = -1;
};

/** Reads up to `size` bytes at `offset`; fewer at the end of the file; -1 with errno on an error. */
ssize_t ReadAt(int descriptor, void* buffer, size_t size, uint64_t offset);

/** Whether all bytes could be written at `offset`; errno tells why not. */
bool WriteAt(int descriptor, const void* buffer, size_t size, uint64_t offset);

/** Whether all bytes could be written at the descriptor's own place; errno tells why not. */
bool WriteAll(int descriptor, const void* buffer, size_t size);

/** The whole file; a Failure with `Damaged` that names it when it is longer than `most` or can't be read. */
std::string ReadFile(const std::string& path, size_t most);

/** The same for one that is open, from its beginning. */
std::string ReadFile(const Descriptor& file, const std::string& path, size_t most);
