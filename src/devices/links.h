// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "roles.h"

/** Whether the names in /dev lead to what was decided. */
bool LinksAreRight(const std::vector<Drive>& drives, const Roles& roles);

/** Has udev look again at that device. */
void HaveUdevLook(dev_t device);

/** Has udev look again at the devices, and at those alone, whose links in /dev are not as decided. */
void RefreshLinks(const std::vector<Drive>& drives, const Roles& roles);

/** The decision on the drives of now and the choice in the file; on a file with an error nobody has a name. */
Roles DecideNow(const std::vector<Drive>& drives);
