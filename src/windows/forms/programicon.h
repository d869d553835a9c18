// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <QIcon>

/** The program's own picture, for the windows beside it too. */
QIcon ProgramIcon();
