// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "outcome.h"
#include "runstate.h"

#include <QString>

/** What the window says, in the operator's language. */
namespace Words {
/** As "Cloning A 12, Monday, 2 March 2026". */
QString Title(const RunState& run);

/** The disk that the run works on, as "Hard disk: Samsung SSD 870, serial number 123, 1.0 TB"; empty before. */
QString Disk(const RunState& run);

/** As "hdc1: ext4, 400.0 MB". */
QString Name(const Step& step, bool isClone);

/** As "running" or "done with warnings". */
QString State(const Step& step);

/** What else there is to say of the step: rate and time left, or the reason in full. May be empty. */
QString Details(const Step& step, bool isClone);

/** In one line, as "NOT complete: hdc2 is missing: there is no room left on the medium". */
QString Headline(const Outcome& outcome, bool isClone);

/** Why, and what to do; a line for each. */
QString Advice(const RunState& run, const Outcome& outcome);

/** With places in the names of files at which a line can be broken. */
QString Breakable(QString text);

/** As "1:05". */
QString Duration(double seconds);

/** As "12.3 MB". */
QString Size(double bytes);
} // namespace Words
