// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "diskimages.h"
#include "savedtable.h"
#include "tablewriter.h"

constexpr unsigned seed = 20261101;
constexpr char gptDisk[] = "0A1B2C3D-0011-2233-4455-66778899AABB";

inline void SetNumber(std::string& bytes, size_t offset, uint64_t number, unsigned size)
{
    for (unsigned i = 0; i < size; ++i)
        bytes[offset + i] = static_cast<char>(number >> 8 * i);
}

/** Through the text and back: what a restore run has. */
inline TableFile Saved(const Device& disk)
{
    return TableFile::Parse(DescribeDisk(disk).Text(), "saved");
}

inline TablePlace PlaceOf(const Device& device)
{
    return {device.path, device.bytes, device.sectorBytes};
}

inline QString Joined(const std::vector<std::string>& texts)
{
    QStringList list;
    for (const std::string& text : texts)
        list << QString::fromStdString(text);
    return list.join("; ");
}

/** What the tests of partition tables begin with. */
class DiskTables : public QObject
{
protected:
    QTemporaryDir folder{Scratch()};

    Device New(const std::string& name, const std::string& bytes, unsigned sectorBytes = 512)
    {
        Device device = Device::OfFile(NewFile(folder, name, bytes));
        device.sectorBytes = sectorBytes;
        return device;
    }
};
