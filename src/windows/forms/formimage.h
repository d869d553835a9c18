// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <QPixmap>

/** The picture compiled into the program under the given name, for example "img0_clonedlg". */
QPixmap FormImage(const QString& name);
