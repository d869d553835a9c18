// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "identity.h"

#include <optional>

/** Which drives the operator has chosen, by what they are. What is empty in an identity is of no account. */
struct Ties
{
    static constexpr char file[] = "/etc/norvo-clone-restore/devices";

    std::optional<Identity> rev;
    std::optional<Identity> disk;

    [[nodiscard]] bool IsEmpty() const
    {
        return !rev && !disk;
    }

    /** The file's text; a Failure with `Damaged` that names `path` and the line where anything is wrong with it. */
    static Ties Parse(const std::string& text, const std::string& path);

    /** The text of a file that says this. */
    [[nodiscard]] std::string Text() const;

    /** What the file at `path` says; nothing is chosen where there is none. */
    static Ties Read(const std::string& path = file);

    /** Replaces the file at `path` in one step, or removes it where nothing is chosen. */
    void Write(const std::string& path = file) const;
};

/** Whether a drive is the one that was chosen. */
bool Matches(const Identity& drive, const Identity& chosen);

/** The chosen drive in words. */
std::string ChoiceText(const Identity& chosen);
