// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "device.h"

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

/**
 * What a file system itself says of its space, read from its own structures without the help of the imaging tool, whose
 * map of used blocks is held against it.
 */
class SpaceAccount
{
public:
    /**
     * All blocks count as free to begin with.
     * @param blockBytes a block's size in bytes
     * @param blocks how many the file system says it has, from the beginning of the partition; NoAccount where that is
     *        more than it has room for
     * @param partitionBytes of which each 2048 take one byte of memory at most
     */
    SpaceAccount(uint64_t blockBytes, uint64_t blocks, uint64_t partitionBytes);

    /** NoAccount where they are not all in the file system. */
    void Use(uint64_t first, uint64_t count);
    /** The same. */
    void Release(uint64_t first, uint64_t count);

    /**
     * Uses what is marked in a list of bits, the lowest of a byte first.
     * @param bits the first one is that of the list's number `number`; those from number `count` on mean nothing
     * @param first where the blocks of number 0 begin
     * @param inEach so many blocks belong to a bit
     */
    void UseMarked(const std::string& bits, uint64_t number, uint64_t count, uint64_t first = 0, uint64_t inEach = 1);

    /** Of a block beyond the end: false. */
    [[nodiscard]] bool IsUsed(uint64_t block) const
    {
        return block < used.size() && used[block];
    }
    [[nodiscard]] uint64_t BlockBytes() const
    {
        return blockBytes;
    }
    [[nodiscard]] uint64_t Blocks() const
    {
        return used.size();
    }
    [[nodiscard]] uint64_t UsedBlocks() const;

    /** How many of the used blocks another one's list lacks; that is asked by offset and size in bytes. */
    [[nodiscard]] uint64_t Lacking(const std::function<bool(uint64_t offset, uint64_t size)>& has) const;

private:
    void Check(uint64_t first, uint64_t count) const;

    uint64_t blockBytes;
    std::vector<bool> used;
};

/** Why a file system's own account can't be had, in words for the operator: "its first FAT cannot be read". */
class NoAccount : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};
