// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "descriptor.h"
#include "device.h"
#include "usedblocks.h"

#include <string>
#include <utility>
#include <vector>

/**
 * Reads the used blocks of a partition in the order of its image, as partclone would have gone on where a block can't
 * be read: zeros stand in the place of each sector that the disk doesn't give.
 */
class BlockReader
{
public:
    /**
     * @param bits one for each block, the lowest of a byte first; to outlive this object
     * @param done how many bytes of the image's data have been read already
     */
    BlockReader(const Device& device, const ImageHeader& header, std::string_view bits, uint64_t done);

    /** The next bytes, at most 1 MiB; empty at the end. Throws Interrupted. */
    std::string Next();

    /** Offset and size in bytes of what could not be read, in order. */
    std::vector<std::pair<uint64_t, uint64_t>> bad;

private:
    void ReadSectors(char* bytes, uint64_t offset, size_t size);
    void NoteBad(uint64_t offset, size_t size);

    Descriptor node;
    Descriptor directNode; ///< past the memory of the system, where neighbours of a bad sector can't be read either
    uint64_t deviceBytes;
    unsigned sectorBytes;
    UsedBlocks used;
};
