// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <memory>
#include <set>
#include <string>
#include <vector>

#include <libmount.h>
#include <sys/types.h>

struct TableDelete
{
    void operator()(libmnt_table* table) const
    {
        mnt_unref_table(table);
    }
};
using MountTable = std::unique_ptr<libmnt_table, TableDelete>;

struct Mount
{
    dev_t device = 0;
    bool writable = false;
    std::string point;
};

/** What is mounted in any mount name space of the machine, and which swap areas are active. */
struct Uses
{
    std::vector<Mount> mounts;
    std::set<dev_t> swaps;
};
Uses FindUses();

/** What /etc/fstab has mounted or switched on when the system starts. */
Uses FindFstabUses();

/** The devices built on that one, at all levels, the highest first. */
std::vector<dev_t> HoldersOf(dev_t device);
