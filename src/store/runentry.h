// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

/**
 * What one command did with an image set: a line of the set's run record, SERIAL_DATE_hdc.run, which is one JSON object
 * a line. Each command adds a line when it begins and one when it ends; one that was killed leaves the first alone.
 */
struct RunEntry
{
    std::string command;     ///< as "norvoPartimageClone"
    std::string part;        ///< what it worked on, as "hdc" or "hdc1"
    std::string began;       ///< as 2026-03-02T11:22:33Z
    std::string result;      ///< "begun", "done" or "failed"
    std::string reason;      ///< why it failed, in the words that the operator was told
    double seconds = 0;      ///< how long it took
    std::string model;       ///< of the disk
    std::string serial;      ///< the disk's own serial number
    uint64_t diskBytes = 0;  ///< size of the disk
    std::string found;       ///< what is on the partition, as in the image's record
    uint64_t imageBytes = 0; ///< size and hash of the image that was written or read
    std::string sha256;
    std::vector<std::string> warnings;
    std::map<std::string, std::string> tools; ///< the version that each tool gives itself

    /** The entry as a line, with its line feed. */
    [[nodiscard]] std::string Line() const;

    /** The entries of a record, as far as they can be understood: it may come from anywhere. */
    static std::vector<RunEntry> Parse(const std::string& text);

    /** Those of the record at `path`; none where there is no record that can be read. */
    static std::vector<RunEntry> Read(const std::string& path);

    /**
     * Why a later run could not save a part anew whose file has this hash; empty where none has tried, or where the run
     * that made that file isn't in the record. It goes by the order of the entries: clocks are set back.
     * @param saved when it was saved; for images alone, whose table shows that the clock has not lied
     */
    static std::string LaterFailure(const std::vector<RunEntry>& run, const std::string& part,
        const std::string& sha256, const std::string& saved = {});
};

/** The path of the run record of the set that has this partition-table file. */
std::string RunRecordPath(const std::string& tablePath);
