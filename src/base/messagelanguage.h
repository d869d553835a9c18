// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

/**
 * In which language the programs that this one starts speak. Windows that were started by commands of the program keep
 * the operator's.
 */
namespace MessageLanguage {
/** From now on they speak English, whatever the operator's language, since what they say is read; formats stay. */
void SetEnglish();

/** Undoes what the program that started this one has done; before the first text is looked up. */
void SetOperators();
} // namespace MessageLanguage
