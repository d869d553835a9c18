// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "confinement.h"

/**
 * From here on this process and all that it starts are refused each system call but those that the work needs.
 * Whether that could be set; errno tells why not. The process has set no_new_privs before.
 */
bool FilterSystemCalls(Confinement::Work work);
