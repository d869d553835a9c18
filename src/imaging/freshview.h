// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <string>
#include <vector>

/**
 * Makes sure that files just forced to the medium are found on it by a machine that knows nothing of them: the file
 * system is mounted a second time, read-only, detached and past the memory of the system, through a loop device. Each
 * file has to be there with its size, its beginning and its end.
 *
 * Shows what no error does: a medium that took the entries of the folders and lost them. Does nothing where there is no
 * such second view: where the file system keeps a journal, is not on a block device, or the kernel can't do it.
 *
 * @param paths of files of one file system; a Failure that names the first that is not there, throws Interrupted
 */
void NeedOnMedium(const std::vector<std::string>& paths);
