// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "storefile.h"

#include "medium.h"

#include <cerrno>
#include <filesystem>

#include <fcntl.h>
#include <unistd.h>

namespace {
bool IsFull(int error)
{
    return error == ENOSPC || error == EDQUOT || error == EFBIG;
}

/** A new file, whatever stood there before under its name: not even another name of the same file is written to. */
Descriptor Create(const std::string& path)
{
    Medium::Unlink(path);
    return Medium::OpenFile(path, O_RDWR | O_CREAT | O_EXCL);
}
} // namespace

StoreFile::StoreFile(const std::string& path, bool measures)
    : path(path)
    , guard([&path] {
        Medium::Unlink(path);
    })
    , file(Create(path))
    , measures(measures)
{
    if (!file)
        Fail("cannot be written", errno);
    readBack = std::make_unique<ReadBack>(file.Get());
}

void StoreFile::Fail(const std::string& what, int error) const
{
    if (!IsFull(error))
        throw Medium::Refusal(ExitStatus::Failed, path + ": " + what, error);
    NoRoom noRoom(ExitStatus::Failed, path + ": there is no room left on the medium");
    noRoom.needed = full ? size : 0;
    throw noRoom;
}

/** On a full medium the file makes room, and what comes is counted on where it is wanted. */
void StoreFile::StopWriting(const std::string& what, int error)
{
    full = IsFull(error) && measures;
    if (!full || ftruncate(file.Get(), 0) != 0)
        Fail(what, error);
    readBack.reset(); // there is nothing to read any more
}

void StoreFile::Write(const void* data, size_t count)
{
    const bool written = full || WriteAll(file.Get(), data, count);
    const int error = errno;
    size += count;
    if (!written)
        StopWriting("cannot be written", error);
    if (full)
        return;
    hash.Add(data, count);
    checksum.Add(data, count);
    try {
        readBack->Follow(size);
    } catch (const ReadBack::Error& error) {
        StopWriting(error.what, error.number);
    }
}

void StoreFile::StartOver()
{
    readBack.reset();
    if (ftruncate(file.Get(), 0) != 0 || lseek(file.Get(), 0, SEEK_SET) != 0)
        Fail("cannot be written", errno);
    size = 0;
    hash = Sha256();
    checksum = Checksum();
    full = false;
    readBack = std::make_unique<ReadBack>(file.Get());
}

void StoreFile::Complete()
{
    if (!complete && !full)
        readBack->End(size);
    complete = true;
}

std::string StoreFile::Prove()
{
    Complete();
    if (full)
        Fail("cannot be written", ENOSPC);
    try {
        if (readBack->Sum() != checksum.Sum())
            throw Failure(
                ExitStatus::Failed, path + ": reads back differently from what was written; the medium is bad");
    } catch (const ReadBack::Error& error) {
        full = IsFull(error.number);
        Fail(error.what, error.number);
    }
    readBack.reset();
    return hash.Hex();
}

void StoreFile::PutInPlace(const std::string& place)
{
    if (!Medium::Rename(path, place))
        throw Medium::Refusal(ExitStatus::Failed, place + ": cannot be put in place", errno);
    guard.Done();
    const Descriptor folder = Medium::OpenFolder(std::filesystem::path(place).parent_path());
    // The folder alone would not do: the folders above it may be new, and the boot sector was written by another
    // command.
    if (!folder || syncfs(folder.Get()) != 0)
        throw SystemFailure(ExitStatus::Failed, place + ": cannot be written to the medium", errno);
}
