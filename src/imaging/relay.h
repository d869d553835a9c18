// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "blockreader.h"
#include "device.h"
#include "imageheader.h"
#include "process.h"
#include "storefile.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/** partclone can't read the partition in this way, and has not got as far as its blocks. */
class Unreadable
{
public:
    explicit Unreadable(std::string reason)
        : reason(std::move(reason))
    {
    }

    std::string reason;
};

/** The work between partclone and the file: its stream goes on to the compressor, whose stream goes into the file. */
class Relay
{
public:
    Relay(const Device& partition, const std::string& variant, StoreFile& file);

    /** To the end of the image. Throws Unreadable. */
    void Run();

    std::vector<std::pair<uint64_t, uint64_t>> bad;

private:
    void StartImager(const std::string& variant);
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
    std::string head; ///< header and bits, kept for the case that a block can't be read
    std::optional<ImageHeader> header;
    std::string_view pending; ///< to be given to the compressor: of the head or of `block`
    std::string block;
    uint64_t relayed = 0;                ///< bytes of blocks
    std::unique_ptr<BlockReader> reader; ///< in partclone's place, when that has given up
    std::vector<char> buffer;
};
