// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "tablefile.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

/**
 * The record that stands beside an image, as BASE.sum:
 *
 *     Norvo Clone-Restore partition image
 *     content ext4              what is on the partition, as blkid names it; "extended" and "unknown" besides
 *     partition-bytes 20971520  size of the partition that was saved
 *     bytes 123456              size of the volumes together
 *     sha256 0123...            hash of the volumes together
 *     partition hdc1            its name, and its place in sectors of the disk
 *     start 2048
 *     size 40960
 *     table 0123...             hash of the partition-table file of the run; "none" where there was none
 *     saved 2026-03-02T11:22:33Z
 *     state clean               or why all blocks were saved, used or not: "unclean, all blocks"
 *     bad 4096 512              offset and size in bytes of what could not be read; zeros stand in its place
 *     hmac 0123...              the code of all that stands before this line; only with a key
 *     end
 *
 * Records of earlier versions end after sha256. bzip2 and partclone cannot tell an image that was cut at a stream
 * boundary; size and hash can, and checking them takes no decompression.
 */
class ImageRecord
{
public:
    std::string content;
    uint64_t partitionBytes = 0;
    uint64_t bytes = 0;
    std::string sha256;

    // Empty in records of earlier versions.
    std::string partition;
    uint64_t start = 0;
    uint64_t size = 0;
    std::string table;
    std::string saved;
    std::string state;
    std::vector<std::pair<uint64_t, uint64_t>> bad; ///< offset and size in bytes
    AuthenticCode code;

    /** How many bytes of the partition could not be read. */
    [[nodiscard]] uint64_t BadBytes() const;

    /** @param key the file at `path` is to have a code by it */
    [[nodiscard]] std::string Text(const Authentication* key = nullptr, const std::string& path = {}) const;

    /** A Failure with `Damaged` that names `path` when the text is not a whole record. */
    static ImageRecord Parse(const std::string& text, const std::string& path);

    /** The same for the file at `path`. */
    static ImageRecord Read(const std::string& path);

    /** Why the image is not that of this partition of its set's table, "the image is ..."; empty when it is. */
    [[nodiscard]] std::string Mismatch(const TableFile& setTable, const TableLine& line) const;

    /** Whether the image was there before the run that made its set's table. Earlier versions' records don't say. */
    [[nodiscard]] bool IsOfEarlierRun(const TableFile& setTable) const
    {
        return table.size() == 64 && !setTable.seal.empty() && table != setTable.seal;
    }
};

/** All that the image of an extended partition holds: the container itself is saved with the partition table. */
inline constexpr char extendedNote[] = "Norvo Clone-Restore: extended partition, nothing to write back\n";

/** The names of one image, from the folder of its set, the partition and the base name SERIAL_DATE_hdc1.bz2. */
class ImageFiles
{
public:
    /** A Failure with `Usage` where the base name doesn't end as the partition's name asks. */
    ImageFiles(const std::string& folder, const std::string& partition, const std::string& base);

    [[nodiscard]] std::string Volume(unsigned number) const; ///< BASE.000 and so on
    [[nodiscard]] std::string Record() const;                ///< BASE.sum
    [[nodiscard]] std::string NewImage() const;              ///< the image that is being made
    [[nodiscard]] std::string NewRecord() const;

    /** The set's partition-table file; `disk` is the name of the partition's disk. */
    [[nodiscard]] std::string Table(const std::string& disk) const;

private:
    std::string path;   ///< FOLDER/BASE
    std::string prefix; ///< FOLDER/SERIAL_DATE_
};

/** Now, in UTC, as 2026-03-02T11:22:33Z. */
std::string TimeStamp();
