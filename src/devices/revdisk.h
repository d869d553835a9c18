// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "device.h"
#include "lock.h"
#include "remark.h"

#include <vector>

/** What is on the disk in a drive, before it is formatted as a REV disk: with UDF, on the whole of it. */
struct RevDisk
{
    enum class State {
        Unformatted, ///< nothing that is known here
        Formatted,   ///< a UDF file system on the whole of it
        Foreign,     ///< something else
    };

    /** What would be lost. */
    struct Find
    {
        Remark what;        ///< as 'partition 1: ext4 "DATA"'
        uint64_t bytes = 0; ///< of it; 0 where that says nothing
    };

    /** A Failure where there is none, or it can't be read. */
    static RevDisk LookAt(const Device& device);

    Device device;
    State state = State::Unformatted;
    std::string label;       ///< of the UDF file system
    std::vector<Find> finds; ///< not more than a box can show
    std::string fingerprint; ///< of the drive and what is on the disk: differs where another one was put in
};

/**
 * The formatting of a disk in steps, between which the caller runs the format command. The drive is locked as long as
 * this object lives: nobody else works on it, and udev doesn't look.
 */
class RevFormat
{
public:
    /**
     * A Failure with `Refused`, and nothing done, when the running system is on it, it is in use, write-protected or
     * not the disk that was looked at; with `Tool` when there is no such command.
     * @param seen what the operator has agreed to lose
     * @param command the format command's name
     */
    RevFormat(const RevDisk& seen, const std::string& command);
    ~RevFormat();
    RevFormat(const RevFormat&) = delete;
    RevFormat& operator=(const RevFormat&) = delete;

    /** Clears what the disk was known by: no remains of that are taken for its contents afterwards. */
    void ClearOld();

    /** Forces all onto the disk. A Failure with `Failed` when it is not a UDF file system then. */
    void Finish();

    /** How many bytes can be written to it, asked by mounting it once, for reading, where nobody sees it. A Failure. */
    [[nodiscard]] uint64_t FreeBytes() const;

private:
    Device device;
    DiskLock lock;
    bool wasWritten = false;
};
