// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "descriptor.h"
#include "failure.h"
#include "readback.h"
#include "sha256.h"
#include "writeguard.h"

#include <memory>

/** There is no room left for a file. */
class NoRoom : public Failure
{
public:
    using Failure::Failure;

    uint64_t needed = 0; ///< bytes that the whole file would take; 0 when that was not measured
};

/**
 * A file of an image set in the making: written beside its place, forced to the medium, read back from there and
 * compared, and only then put in place. Until then an older file of that name stays; one that is never put in place is
 * removed, whatever ends this process.
 */
class StoreFile
{
public:
    /**
     * @param path where it is written meanwhile; what is there is replaced
     * @param measures when there is no room, what comes is counted on, and Prove() tells how much there is of it
     */
    explicit StoreFile(const std::string& path, bool measures = false);
    StoreFile(const StoreFile&) = delete;
    StoreFile& operator=(const StoreFile&) = delete;

    /** Throws NoRoom where the medium is full, another Failure on other errors. */
    void Write(const void* data, size_t size);

    /** What was written so far is given up, and the file is empty again. Before Complete(). */
    void StartOver();

    /** All is written: the rest goes to the medium and is read back while the caller does something else. */
    void Complete();

    /** Waits until all is read back; gives the SHA-256 of what was written. To be called once. Throws Interrupted. */
    std::string Prove();

    /** Renames it to `path`, for good: all that waits for the medium is forced to it. */
    void PutInPlace(const std::string& path);

    [[nodiscard]] uint64_t Size() const
    {
        return size;
    }

private:
    [[noreturn]] void Fail(const std::string& what, int error) const;
    void StopWriting(const std::string& what, int error);

    std::string path;
    WriteGuard guard; // before there is a file
    Descriptor file;
    std::unique_ptr<ReadBack> readBack; ///< none when the file is full or proved
    uint64_t size = 0;
    Sha256 hash;
    Checksum checksum; ///< of the same bytes, for the proof
    bool measures;
    bool full = false;
    bool complete = false;
};
