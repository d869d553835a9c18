// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "step.h"

/** Which step and which kind of run a command belongs to. */
struct Role
{
    const char* command;
    Step::Kind kind;
    bool isClone;
    bool isHead; ///< a run begins with it

    /** A null pointer for a command of no run. */
    static const Role* Of(const std::string& command);
};
