// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "descriptor.h"

#include <string>

/**
 * What is said to norvoReport, if it listens. Nothing here waits or fails: a window that hangs loses lines, and where
 * there is none they are lost too. Lines end with their line feed.
 */
class ReportChannel
{
public:
    /** What each new listener is to be told first. It isn't said by this. */
    void Greet(const std::string& lines);

    /** Looks whether somebody listens, or still does, and tells who is new the greeting. */
    bool Connect();

    /** Says the line now or, to a listener who has no room for it, as soon as there is some. */
    void Tell(const std::string& line);

    /** Whether what was told has left, and more of little worth can be told without crowding out what must arrive. */
    [[nodiscard]] bool HasRoom();

private:
    bool Open();
    void Flush();
    [[nodiscard]] bool IsCrowded() const;

    Descriptor socket;
    std::string greeting;
    std::string queue; ///< what the socket did not take yet
};
