// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "device.h"

/** The disk that a partition belongs to, by the name that fits the partition's; a disk is its own. */
Device DiskOf(const Device& device);

/**
 * The exclusive lock on a whole disk: the BSD lock on its node that udev and other tools respect too. It is handed down
 * to every process that is started while this object lives, and held until the last of them is gone.
 */
class DiskLock
{
public:
    /**
     * A Failure with `Refused` that names the process which holds it.
     * @param device may be a partition of the disk. It is found anew, so that its name leads where it did when the lock
     *        is held: until then udev may take the links of partitions away and make them again
     */
    explicit DiskLock(Device& device);
    ~DiskLock();
    DiskLock(const DiskLock&) = delete;
    DiskLock& operator=(const DiskLock&) = delete;

    /** Before the end of this object: udev makes links for new partitions only then. */
    void Release();

private:
    void Take(const Device& disk);

    int node = -1; // without O_CLOEXEC, so that programs started here inherit it
};
