// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "descriptor.h"
#include "device.h"
#include "spaceaccount.h"

#include <string>

/** Reads a file system's own structures, at offsets in bytes from the beginning of its partition. */
class VolumeReader
{
public:
    /** Takes a device or, in tests, an image file. NoAccount when it can't be opened. */
    explicit VolumeReader(const std::string& path);

    /** NoAccount, with the offset, where not all of it can be read, or `size` is over 64 MiB. */
    [[nodiscard]] std::string Bytes(uint64_t offset, uint64_t size) const;

    /** Of the whole partition; NoAccount where that can't be told. */
    [[nodiscard]] uint64_t Size() const;

    /** Numbers of `size` bytes (8 at most), the lowest byte first; NoAccount as above. */
    [[nodiscard]] uint64_t Number(uint64_t offset, unsigned size) const;

private:
    Descriptor node;
};
