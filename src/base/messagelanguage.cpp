// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "messagelanguage.h"

#include <cstdlib>
#include <string>

namespace {
constexpr char variable[] = "LANGUAGE";        // of gettext, above LC_ALL and LANG for messages alone
constexpr char operators[] = "NORVO_LANGUAGE"; // what that was before; empty where it wasn't set
} // namespace

void MessageLanguage::SetEnglish()
{
    const char* before = getenv(variable);
    setenv(operators, before == nullptr ? "" : before, 1);
    setenv(variable, "C", 1);
}

void MessageLanguage::SetOperators()
{
    const char* before = getenv(operators);
    if (before == nullptr)
        return;
    const std::string language = before;
    if (language.empty())
        unsetenv(variable);
    else
        setenv(variable, language.c_str(), 1);
    unsetenv(operators);
}
