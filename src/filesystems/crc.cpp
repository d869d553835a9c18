// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "crc.h"

#include <array>

namespace {
std::array<uint32_t, 256> MakeTable()
{
    constexpr uint32_t polynomial = 0x82F63B78;
    std::array<uint32_t, 256> table{};
    for (uint32_t i = 0; i < table.size(); ++i) {
        uint32_t sum = i;
        for (int bit = 0; bit < 8; ++bit)
            sum = (sum >> 1) ^ ((sum & 1) != 0 ? polynomial : 0);
        table[i] = sum;
    }
    return table;
}
} // namespace

uint32_t Crc32c(uint32_t sum, const char* bytes, size_t size)
{
    static const std::array<uint32_t, 256> table = MakeTable();
    for (size_t i = 0; i < size; ++i)
        sum = (sum >> 8) ^ table[(sum ^ static_cast<unsigned char>(bytes[i])) & 0xFF];
    return sum;
}

uint32_t Crc32cWithout(uint32_t sum, std::string bytes, size_t place, size_t width)
{
    bytes.replace(place, width, width, '\0');
    return Crc32c(sum, bytes.data(), bytes.size());
}

uint32_t Crc16(uint32_t sum, const std::string& bytes)
{
    for (const char byte : bytes) {
        sum ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; ++bit)
            sum = (sum >> 1) ^ ((sum & 1) != 0 ? 0xA001 : 0);
    }
    return sum;
}
