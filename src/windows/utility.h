// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <cstdio>
#include <string>

class QWidget;

/**
 * Mounts the REV disk, read-write, at its fixed mount point and adds its entry to the mount table "/etc/mtab".
 * True when the disk is mounted afterwards: the kernel's EBUSY counts as "was mounted already", and adds no entry.
 * The result doesn't depend on the mount table: where that can't be updated, the entry is left out.
 *
 * Nothing on the disk is a device, a program or another user's from then on; where the kernel can't do that, it is said
 * on standard error.
 */
bool MountRev();

/**
 * Unmounts the REV disk and removes its entries from the mount table. False, with the table untouched, when the kernel
 * refuses (not mounted, busy, not permitted).
 */
bool UmountRev();

/**
 * The entries of a mount table that are not of `device`, as delmntent() keeps them.
 *
 * @param table the mount table's whole text
 * @param device compared exactly, case included
 * @return lines that end in a line feed
 */
std::string KeptLines(const std::string& table, const char* device);

/**
 * Rewrites "/etc/mtab" as a copy of `table` without the entries of `device`. Once that is on the disk, each kept entry
 * is printed on standard output as well, unless nobody takes it there.
 *
 * Kept entries are written with single blanks between their fields. Those that don't fit the six fields of a
 * mount-table line, or are longer than old tools read (79 characters for device, mount point and options, 9 for the
 * type, 1 for each of the two numbers), are copied unchanged.
 *
 * @param table a stream open for reading on a mount table, as setmntent() gives it; closed here in every case
 * @param device compared exactly, case included
 * @return 0 on success; otherwise the mount table is as it was
 */
int delmntent(FILE* table, const char* device);

/** Moves `window` to the middle of its screen, by the screen's size alone: offsets count from the desktop's origin. */
void CenterWindow(QWidget* window);

/** Moves `window` to the middle of `reference`. */
void CenterWindow(QWidget* reference, QWidget* window);
