// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "imageheader.h"

#include <string_view>

/** Bytes side by side on a medium. */
struct Extent
{
    uint64_t offset = 0;
    uint64_t size = 0;

    [[nodiscard]] uint64_t End() const
    {
        return offset + size;
    }
};

/** Walks along the used blocks of a partition, in the order that its image has them in. */
class UsedBlocks
{
public:
    /** @param bits one for each block, the lowest of a byte first; to outlive this object */
    UsedBlocks(const ImageHeader& header, std::string_view bits);

    /** Where the next bytes of them stand on the partition, at most `most`; none, of size 0, at the end. */
    Extent Next(uint64_t most);

    /** Whether there are as many as the header says, and none reaches beyond a partition of so many bytes. */
    [[nodiscard]] bool Fit(uint64_t partitionBytes) const;

    /** Whether all blocks are used that these bytes of the partition lie in. */
    [[nodiscard]] bool Cover(Extent extent) const;

private:
    [[nodiscard]] bool IsUsed(uint64_t number) const;

    uint64_t blocks;
    uint64_t usedBlocks; ///< by the header
    uint64_t blockBytes;
    std::string_view bits;
    uint64_t block = 0; ///< where the next bytes are looked for
    uint64_t skip = 0;  ///< bytes of it that were given already
};
