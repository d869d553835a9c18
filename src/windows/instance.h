// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "descriptor.h"

/** Held while the program runs: a second one on the machine would write to the same disks. */
class Instance
{
public:
    explicit Instance(const char* path = "/run/norvoclonerestore.lock");

    /** Whether another program holds it. One that may not lock, as without root, is not kept from running. */
    [[nodiscard]] bool IsSecond() const
    {
        return isSecond;
    }

private:
    Descriptor file;
    bool isSecond = false;
};
