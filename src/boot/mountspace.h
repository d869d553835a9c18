// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "fstab.h"
#include "use.h"

#include <string>
#include <vector>

/**
 * Moves this process into a mount name space of its own, with an empty folder in memory on /mnt: no mount table sees
 * what is mounted from then on, no mount outlives the process, and no file system has to have room. Called once, before
 * Mounts.
 */
void EnterMountSpace();

/** A set of mounts below /mnt, unmounted in reverse order at the end of this object. */
class Mounts
{
public:
    Mounts() = default;
    ~Mounts();
    Mounts(const Mounts&) = delete;
    Mounts& operator=(const Mounts&) = delete;

    /** A fresh folder of that name below /mnt. */
    static std::string MakeFolder(const std::string& name);

    /**
     * Mounts a partition's file system on the folder, without its device nodes and without the rights of others that
     * its programs may have. For reading nothing is written to the partition, also where its journal was not played
     * back, and no program of it can be run. A Failure with `Failed` otherwise.
     *
     * @param subvolume the mount option that selects a btrfs subvolume, or empty
     */
    void Mount(
        const DiskPartition& partition, const std::string& folder, Access access, const std::string& subvolume = {});

    /** Writes everything back. A Failure with `Failed` when one is in use. */
    void Unmount();

private:
    std::vector<std::string> folders;
};

/** Where `path` is below `folder`, with links resolved; empty where it isn't there or a link leads out of it. */
std::string Inside(const std::string& folder, const std::string& path);
