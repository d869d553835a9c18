// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <QString>

/**
 * Saves what the system's journal has of this session, and what is known of the PC's drives, onto the REV disk, which
 * is mounted for it where it isn't. The name of the file, in the disk's topmost folder; a Failure that says what is
 * wrong.
 */
QString SaveSessionLog();
