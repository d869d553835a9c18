// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "links.h"

/**
 * What the file has to say when these drives are chosen; a null pointer leaves what was chosen before. A Failure with
 * `Refused` tells why one cannot be tied. Nothing is written.
 */
Ties ChosenTies(const std::vector<Drive>& drives, const Drive* rev, const Drive* disk, bool byPlace);

/**
 * Has the links in /dev follow the decision, and waits for them. A Failure with `Failed` where they don't; where udev
 * does not run, a warning.
 */
void Apply(const std::vector<Drive>& drives, const Roles& roles);
