// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "device.h"
#include "imageheader.h"
#include "imagerecord.h"

#include <string>
#include <vector>

/** An image in its volumes, whose contents are joined in order. */
class ImageVolumes
{
public:
    /** A Failure with `Damaged` where one is missing. */
    explicit ImageVolumes(const ImageFiles& files);

    /** The first bytes of what is compressed, at most so many; fewer of a damaged image. */
    [[nodiscard]] std::string Head(uint64_t most = 512) const;

    /** A Failure with `Damaged` where the used blocks, by their map, can't be written back onto so many bytes. */
    void CheckMap(const ImageHeader& header, uint64_t partitionBytes) const;

    /** A Failure with `Damaged` unless size and hash are those of the record. */
    void CheckRecord(const ImageRecord& record) const;

    /** The same by decompressing all of it, for images without a record. */
    void CheckInFull(const std::string& head) const;

    /**
     * Writes the image onto the partition and reads it back from there. The caller has made sure that it may.
     * @param sha256 what the volumes must have; not compared where empty
     * A Failure with `Failed` when it breaks off; throws Interrupted.
     */
    void WriteTo(const Device& partition, const std::string& sha256) const;

    [[nodiscard]] const std::string& FirstPath() const
    {
        return paths.front();
    }

private:
    std::vector<std::string> paths;
    uint64_t bytes = 0;
};
