// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "descriptor.h"
#include "failure.h"

#include <optional>
#include <string>

#include <sys/stat.h>

/**
 * Whatever reads or writes an image set goes through here: a REV disk may have been filled by anybody, and this program
 * is root. Folders may be reached by symbolic links that stay on the medium. A file of a set is a regular file: no
 * link, no device, no pipe.
 *
 * Paths below the root are looked up from there, and nothing found on the way leads out of it. A folder elsewhere is
 * one that the caller has named; the files in it are held to the same rule.
 *
 * Failures are told by errno: EXDEV where a link leads out, ELOOP where a file is a link, ENXIO where it is no file.
 */
namespace Medium {
/** The folder that is the root of the store from now on; where the REV disk is mounted otherwise. */
void UseRoot(const std::string& folder);

/** For reading, as the folder of openat(2) and the like. */
Descriptor OpenFolder(const std::string& path);

/** open(2) of a file of a set. What is created is its user's alone. */
Descriptor OpenFile(const std::string& path, int flags);

/** What stands under this name itself, whatever it is; nothing, with errno, where that can't be told. */
std::optional<struct stat> Look(const std::string& path);

/** Whether there is something under this name: what can't be looked at may be. */
bool Exists(const std::string& path);

bool IsFile(const std::string& path);

/** The size of a file in bytes; 0 where there is none. */
uint64_t FileBytes(const std::string& path);

/** The whole file; a Failure with `Damaged` that names it when it is longer than `most` or can't be read. */
std::string Read(const std::string& path, size_t most);

/** Both in one folder. */
bool Rename(const std::string& from, const std::string& to);

bool Unlink(const std::string& path);

/** The same as SystemFailure() with the words above for errors of this. */
Failure Refusal(ExitStatus status, const std::string& text, int error);

/**
 * Nothing on the file system that is mounted at `point` runs as another user, is a device or a program from now on; the
 * mount's own options stay. Whether the kernel, 5.12 or later, does that; errno tells why not.
 */
bool RestrictMount(const char* point);

/** Whether symbolic links on that file system are followed. */
bool FollowLinks(const char* point, bool follow);
} // namespace Medium
