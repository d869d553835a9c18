// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "remark.h"

#include <stdexcept>
#include <string>
#include <vector>

/** Exit statuses of the commands. The program never looks at them: they are for scripts and tests. */
enum class ExitStatus {
    Usage = 64,   ///< wrong arguments; nothing was done
    Damaged = 65, ///< a file of the image set is missing, cut or damaged; nothing was written to the disk
    Missing = 66, ///< no such device or directory; nothing was done
    Tool = 69,    ///< a command that is needed is not installed; nothing was done
    Failed = 74,  ///< the work was begun and failed
    Refused = 75, ///< the device is in use, too small or otherwise unfit; nothing was written to it
};

/** What ends a command: the exit status, and one sentence for the operator that names the file or device. */
class Failure : public std::runtime_error
{
public:
    Failure(ExitStatus status, const std::string& text)
        : Failure(status, Remark(text))
    {
    }

    /** With a sentence that a window can translate. */
    Failure(ExitStatus status, Remark sentence)
        : std::runtime_error(sentence.Text())
        , status(status)
        , remark(std::move(sentence))
    {
    }

    ExitStatus status;
    Remark remark; ///< the sentence
};

/** The same for a failed system call: the text, then what the system says of `error`. */
Failure SystemFailure(ExitStatus status, const std::string& text, int error);

/** `text` on one line that any terminal can show: control characters and bytes that are not UTF-8 become \ooo. */
std::string Printable(const std::string& text);

/** One line on standard error, which the operator sees in red in a restore run. */
void Warn(const std::string& text);

/** The texts of all calls of Warn() in this process so far. */
const std::vector<std::string>& Warnings();

/** One line on standard output. */
void Say(const std::string& text);

/** The same for what the command was asked for: a Failure when it can't be written, unless nobody reads any more. */
void Answer(const std::string& text);

/** The name that the lines of Warn() begin with. */
const std::string& CommandName();
void SetCommandName(const std::string& name);
