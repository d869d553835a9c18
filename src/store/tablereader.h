// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "tablefile.h"

/** What a partition-table file of this program begins with. */
inline constexpr char tableHeadline[] = "# Norvo Clone-Restore partition table";

/** What the line with its code begins with. */
inline constexpr char tableCode[] = "# hmac: ";

/** As TableFile::Parse(), which is this. */
TableFile ReadTable(const std::string& text, const std::string& path);
