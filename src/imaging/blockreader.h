// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "descriptor.h"
#include "device.h"
#include "twins.h"

#include <string>
#include <utility>
#include <vector>

/**
 * Reads a partition from its beginning to its end, whatever the disk gives: a sector that can't be read is taken from
 * its twin, where the file system keeps the same bytes twice; otherwise zeros stand in its place.
 */
class BlockReader
{
public:
    BlockReader(const Device& device, std::vector<Twins> twins);

    /** The next bytes, at most 1 MiB; empty at the end. Throws Interrupted. */
    std::string Next();

    std::vector<std::pair<uint64_t, uint64_t>> bad; ///< offset and size in bytes of what could not be read, in order
    uint64_t fromTwins = 0;                         ///< bytes that were taken from their twins

private:
    void ReadSectors(char* bytes, uint64_t offset, size_t size);
    bool ReadSector(char* bytes, uint64_t offset, size_t size);
    bool ReadTwin(char* bytes, uint64_t offset, size_t size);
    void NoteBad(uint64_t offset, size_t size);

    Descriptor node;
    Descriptor directNode; ///< past the memory of the system, where neighbours of a bad sector can't be read either
    uint64_t deviceBytes;
    unsigned sectorBytes;
    std::vector<Twins> twins;
    uint64_t place = 0;
};
