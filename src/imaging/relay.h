// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "blockreader.h"
#include "device.h"
#include "imageheader.h"
#include "process.h"
#include "spaceaccount.h"
#include "storefile.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/** The used blocks alone are no image of the partition, or partclone has not read them all: all blocks are to be saved.
 */
class Unreadable
{
public:
    explicit Unreadable(std::string reason)
        : reason(std::move(reason))
    {
    }

    std::string reason;
};

/**
 * The work between what reads the partition and the file: the stream goes on to the compressor, whose stream goes into
 * the file.
 */
class Relay
{
public:
    /**
     * partclone reads the used blocks.
     * @param account whose used blocks the map of partclone must have; null where there is none. To outlive this object
     */
    Relay(const Device& partition, const std::string& variant, const SpaceAccount* account, StoreFile& file);

    /** All blocks, from a reader that is to outlive this object. */
    Relay(const Device& partition, BlockReader& reader, StoreFile& file);

    /** To the end of the image. Throws Unreadable where partclone reads. */
    void Run();

private:
    void StartImager(const std::string& variant);
    void JudgeMap() const;
    void StartCompressor();
    void Step();
    void TakeHead();
    void Splice();
    void GiveOut();
    void TakeCompressed();
    void SourceEnded();
    [[nodiscard]] bool HeadComplete() const
    {
        return header && head.size() >= header->DataOffset();
    }

    const Device& partition;
    StoreFile& file;
    Pipeline pipeline;
    Descriptor source;     ///< what partclone writes
    Descriptor sink;       ///< what the compressor reads
    Descriptor compressed; ///< what the compressor writes
    bool sourceReady = false;
    bool sinkReady = false;
    std::string head; ///< header, bits and their CRC
    std::optional<ImageHeader> header;
    std::string_view pending; ///< to be given to the compressor: of the head or of `block`
    std::string block;
    uint64_t relayed = 0; ///< bytes of blocks
    const SpaceAccount* account = nullptr;
    BlockReader* reader = nullptr; ///< in partclone's place
    std::vector<char> buffer;
};
