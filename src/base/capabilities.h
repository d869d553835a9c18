// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <initializer_list>

/**
 * From here on this process and what it starts have these capabilities and can gain no other: the bounding set has none
 * besides, and none is handed on to a program without being root's. Whether that could be done; errno tells why not.
 */
bool KeepCapabilities(std::initializer_list<unsigned> kept);
