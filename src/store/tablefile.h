// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "partitionname.h"

#include <cstdint>
#include <string>
#include <vector>

/** One partition line. Start and size are sectors of the disk's own size. */
struct TableLine
{
    unsigned number = 0; ///< of the partition; 0: the disk itself, which holds something without a partition table
    uint64_t start = 0;
    uint64_t size = 0; ///< 0: an empty slot
    unsigned type = 0; ///< the type byte of a DOS table, or its nearest for a GPT
    bool bootable = false;

    [[nodiscard]] bool IsExtended() const
    {
        return type == 0x05 || type == 0x0f || type == 0x85;
    }
    [[nodiscard]] bool IsSwap() const
    {
        return type == 0x82;
    }
};

/** Bytes of the disk as they were, at `offset` bytes from its beginning. */
struct RawArea
{
    uint64_t offset = 0;
    std::string bytes;
};

/** What a system finds a swap area by; mkswap makes a new one. */
struct SwapIdentity
{
    unsigned number = 0; ///< of the partition
    std::string uuid;
    std::string label;
};

class Authentication;

/** What shows that a file of a set was made by one who has the key; see there. */
struct AuthenticCode
{
    std::string digest; ///< the SHA-256 of all that stands before the code
    std::string text;   ///< in hexadecimal; empty where the file has none

    /** That of the line which begins with `key` and ends where the last line of the file begins, at `end`. */
    static AuthenticCode Find(const std::string& text, size_t end, const std::string& key);
};

/**
 * The partition-table file of an image set. The program reads the lines that begin with "/"; all else stands in lines
 * that begin with "#":
 *
 *     # Norvo Clone-Restore partition table
 *     # saved: 2026-03-02T11:22:33Z        the run; images of the same run name this file's hash
 *     # disk: hdc
 *     # model: WDC AC2850F
 *     # disk-bytes: 1073741824
 *     # sector-bytes: 512
 *     # warning: TEXT                      what may not come back as it was
 *     # swap: 2 UUID LABEL                 the label in base64
 *
 *     /dev/hdc1 : start=     2048, size=     8192, Id=83, bootable
 *
 *     # native: label: dos                 the table in libfdisk's own words, line by line
 *     # raw: 512 1048064 BASE64            offset and size in bytes, then the bytes, compressed with zlib
 *     # hmac: 0123...                      the code of all that stands before this line; only with a key
 *     # complete: sha256 0123...           of all that stands before this line
 *
 * Files of other makers have the partition lines alone: four slots of a DOS table, empty or not, then logical ones.
 */
class TableFile
{
public:
    std::string disk; ///< name of the disk that the lines name, as "hdc"
    std::vector<TableLine> lines;

    // The rest is empty in a file of other makers.
    std::string saved;
    std::string model;
    uint64_t diskBytes = 0;
    unsigned sectorBytes = 512;
    std::vector<std::string> warnings;
    std::vector<SwapIdentity> swaps;
    std::string native;
    std::vector<RawArea> raw;
    std::string seal; ///< the hash in the last line, in hexadecimal
    AuthenticCode code;

    /** The whole text, with its last line; sets `seal`. @param key the file at `path` is to have a code by it */
    std::string Text(const Authentication* key = nullptr, const std::string& path = {});

    /**
     * Reads the text strictly: a line that is not understood, a cut, doubled or overlapping one is a Failure with
     * `Damaged` or `Refused` that names `path`.
     */
    static TableFile Parse(const std::string& text, const std::string& path);

    /** The same for the file at `path`. */
    static TableFile Read(const std::string& path);

    /** The line of that partition, where it is in use; a null pointer otherwise. */
    [[nodiscard]] const TableLine* Find(unsigned number) const;

    /** Whether libfdisk called the table a GPT. */
    [[nodiscard]] bool IsGpt() const
    {
        return ("\n" + native).find("\nlabel: gpt\n") != std::string::npos;
    }

    /** The sector behind the last partition; 0 where there is none. */
    [[nodiscard]] uint64_t EndOfPartitions() const;

    /** Whether these are not the bytes of the boot sector that was saved with the table; false where there is none. */
    [[nodiscard]] bool IsOtherBootSector(const std::string& bytes) const
    {
        return !raw.empty() && raw.front().offset == 0 && bytes.size() <= raw.front().bytes.size()
            && raw.front().bytes.compare(0, bytes.size(), bytes) != 0;
    }

    /** Whether the disk has something on it without a partition table. */
    [[nodiscard]] bool IsWholeDisk() const
    {
        return lines.size() == 1 && lines.front().number == 0;
    }
};
