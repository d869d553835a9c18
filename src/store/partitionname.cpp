// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "partitionname.h"

#include <cctype>

std::string PartitionName(const std::string& disk, unsigned number)
{
    if (number == 0)
        return disk;
    const bool endsInDigit = !disk.empty() && std::isdigit(static_cast<unsigned char>(disk.back()));
    return disk + (endsInDigit ? "p" : "") + std::to_string(number);
}

std::string DiskName(const std::string& partition, unsigned number)
{
    const std::string digits = std::to_string(number);
    if (partition.size() <= digits.size()
        || partition.compare(partition.size() - digits.size(), digits.size(), digits) != 0)
        return {};
    std::string disk = partition.substr(0, partition.size() - digits.size());
    if (disk.size() > 1 && disk.back() == 'p' && std::isdigit(static_cast<unsigned char>(disk[disk.size() - 2])))
        disk.pop_back();
    return PartitionName(disk, number) == partition ? disk : std::string();
}

void SplitName(const std::string& name, std::string& disk, unsigned& number)
{
    size_t digits = name.size();
    while (digits > 0 && std::isdigit(static_cast<unsigned char>(name[digits - 1])))
        --digits;
    disk = name;
    number = 0;
    if (digits == name.size() || name.size() - digits > 4)
        return;
    number = std::stoul(name.substr(digits));
    disk = DiskName(name, number);
}
