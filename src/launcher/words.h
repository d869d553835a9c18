// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "drives.h"

#include <QString>

/** What the libraries say, in the operator's language. */
namespace Words {
/** Bytes of others, on one line. */
QString Plain(const std::string& text);

QString Of(const Remark& remark);

/** As "34.9 GB", in powers of ten. */
QString Size(uint64_t bytes);

/** As "Samsung SSD 870, 1.0 TB, serial number S5Y, sda (the running system is on it)". */
QString Of(const Drive& drive);
} // namespace Words
