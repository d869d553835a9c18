// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "checksum.h"
#include "descriptor.h"
#include "process.h"
#include "usedblocks.h"

#include <functional>
#include <string>
#include <vector>

/**
 * Forces what is written to the medium and reads it back from there while more is being written, some megabytes behind,
 * in a process of its own: a slow medium is waited for while the compressor works, and a request to end never is.
 *
 * What it proves: each byte left memory for the drive, was dropped from memory, came back from the drive and is
 * in the checksum; and the drive has said afterwards that nothing of it is left in its own cache (fsync). What was
 * written last is read after that, the rest before: that a drive gives back from its cache what its medium has lost is
 * beyond either order.
 */
class ReadBack
{
public:
    /** What went wrong, and the system's number for it. */
    struct Error
    {
        std::string what;
        int number;
    };

    /** Where the next bytes stand that are written, at most so many; size 0 where there are none. */
    using Place = std::function<Extent(uint64_t most)>;

    /**
     * To be made before pipes whose end somebody waits for.
     * @param file open for reading, to outlive this object; best past the memory of the system (O_DIRECT)
     * @param place called in the process of its own alone
     */
    ReadBack(int file, const Place& place);

    /** A file that is written from its beginning to its end. */
    explicit ReadBack(int file);

    /** `size` bytes are written now. Waits while the medium is too far behind. Throws Error, Interrupted. */
    void Follow(uint64_t size);

    /** These are all; doesn't wait. */
    void End(uint64_t size);

    /** After End(): of what the medium has. Throws Error, Interrupted. */
    Checksum::Value Sum();

private:
    struct Order
    {
        uint64_t size;
        bool isLast;
    };
    struct Answer
    {
        uint64_t done;
        int error; ///< 0 for none
        bool reading;
        bool isLast;
        Checksum::Value sum; ///< in the last one
    };

    class Worker;

    void Tell(Order order);
    Answer Listen();

    Pipeline pipeline;
    Descriptor orders;
    Descriptor answers;
    uint64_t told = 0;
    uint64_t done = 0;
};
