// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <cstdint>
#include <string>

/**
 * What a process keeps that handles bytes of others: an image, a file system. Whoever takes it over by them finds a
 * process that can't gain a privilege, sees a system that is read-only and has no devices, and is refused every system
 * call that its work doesn't need: no sockets, no other processes' memory, no signals to them, no mounts, no loading.
 */
struct Confinement
{
    enum class Work {
        Program,  ///< may read files, as a program and its libraries, and be replaced by one
        Function, ///< uses what is open and opens nothing
    };
    enum class Access {
        None,
        Read,  ///< by a node of its own that is nobody's to write
        Write, ///< as the system's node allows
    };

    Work work = Work::Program;
    uint64_t memory = 0;          ///< bytes of address space that it may have
    Access access = Access::None; ///< to the one device that it sees
    std::string device = {};      ///< the path of that device
    std::string alias = {};       ///< another path for it, directly in /mnt, with Access::Read; none where empty

    /**
     * Confines this process and what it starts; called in a new process, before it works. In a program its descriptors
     * from 3 on are closed. Without root's rights, which it could give up, only memory and system calls are limited.
     * Where it is not possible, the process says why on standard error and ends.
     */
    void operator()() const;
};

/** For lbzip2, whose threads take memory one by one. */
Confinement ConfinedCompressor();

/**
 * For a program that takes a file system apart.
 * @param bytes of the device; what is kept of its blocks grows with them
 */
Confinement ConfinedParser(Confinement::Access access, const std::string& device, uint64_t bytes);
