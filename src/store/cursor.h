// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <cctype>
#include <cstdint>
#include <limits>
#include <string>

/** Walks along a line; each step tells whether it found what it looked for. */
class Cursor
{
public:
    explicit Cursor(const std::string& line)
        : line(line)
    {
    }

    bool Skip(const std::string& text)
    {
        if (line.compare(place, text.size(), text) != 0)
            return false;
        place += text.size();
        return true;
    }
    void SkipBlanks()
    {
        while (place < line.size() && line[place] == ' ')
            ++place;
    }
    bool Number(uint64_t& number, unsigned base)
    {
        const size_t begin = place;
        number = 0;
        for (; place < line.size() && std::isxdigit(static_cast<unsigned char>(line[place])); ++place) {
            const char c = line[place];
            const unsigned digit = std::isdigit(static_cast<unsigned char>(c)) ? c - '0' : (c | 0x20) - 'a' + 10;
            if (digit >= base)
                break;
            if (number > (std::numeric_limits<uint64_t>::max() - digit) / base)
                return false;
            number = number * base + digit;
        }
        return place > begin;
    }
    [[nodiscard]] bool AtEnd() const
    {
        return place == line.size();
    }

private:
    const std::string& line;
    size_t place = 0;
};
