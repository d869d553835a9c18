// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <string>
#include <vector>

/** A sentence for the operator, kept apart from what it names, so that a window can translate it. */
struct Remark
{
    /** Nothing to say. */
    Remark() = default;

    /** What is the same in each language: a name, or words of another program. */
    Remark(std::string name)
        : text(std::move(name))
    {
    }

    /** @param text in English, with %1 and so on for the names; po/update takes it into the catalogues */
    explicit Remark(const char* text, std::vector<Remark> names = {})
        : text(text)
        , names(std::move(names))
        , isTranslated(true)
    {
    }

    [[nodiscard]] bool IsEmpty() const
    {
        return text.empty();
    }

    /** In English, with the names. */
    [[nodiscard]] std::string Text() const;

    std::string text;
    std::vector<Remark> names; ///< may be remarks themselves
    bool isTranslated = false; ///< a text of ours, which the catalogues have
};
