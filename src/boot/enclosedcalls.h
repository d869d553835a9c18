// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

/**
 * From here on this process and all that it starts are refused the system calls that reach past an Enclosure, or that
 * install no boot loader and have had faults by which a kernel was taken over. An installer may be of any kind, a
 * shell's script as well: all else is allowed. Whether that could be set; errno tells why not. The process has set
 * no_new_privs before.
 */
bool RefuseCalls();
