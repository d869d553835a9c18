// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "device.h"

/** What a command is going to do with a device. */
enum class Access { Read, Write };

/**
 * A Failure with `Refused` when the device, one of its partitions or a device built on them is in use, in any mount
 * name space: for reading only what can change meanwhile counts (mounted for writing, active swap), for writing
 * everything. It names the use, and for a device built on it the command that releases it.
 */
void RefuseUse(const Device& device, Access access);

/** Whether the device itself is mounted somewhere, in whatever way. */
bool IsMounted(const Device& device);

/** A Failure with `Refused` when `folder` lies below the REV disk's mount point and no disk is mounted there. */
void NeedRevDisk(const std::string& folder);
