// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "storefile.h"

#include "process.h"

#include <cerrno>
#include <filesystem>
#include <vector>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {
bool IsFull(int error)
{
    return error == ENOSPC || error == EDQUOT || error == EFBIG;
}

constexpr uint64_t window = 8U << 20; // the writing to the medium lags behind by this much
} // namespace

StoreFile::StoreFile(const std::string& path, bool measures)
    : path(path)
    , guard([&path] {
        unlink(path.c_str());
    })
    , file(Descriptor::Open(path, O_RDWR | O_CREAT | O_TRUNC | O_NOFOLLOW))
    , measures(measures)
{
    if (!file)
        Fail("cannot be written", errno);
}

void StoreFile::Fail(const std::string& what, int error) const
{
    if (!IsFull(error))
        throw SystemFailure(ExitStatus::Failed, path + ": " + what, error);
    NoRoom noRoom(ExitStatus::Failed, path + ": there is no room left on the medium");
    noRoom.needed = full ? size : 0;
    throw noRoom;
}

void StoreFile::Write(const void* data, size_t count)
{
    if (!full && !WriteAll(file.Get(), data, count)) {
        full = IsFull(errno) && measures;
        if (!full || ftruncate(file.Get(), 0) != 0)
            Fail("cannot be written", errno);
    }
    size += count;
    if (full)
        return;
    hash.Add(data, count);
    // Bounds what waits in memory: the last sync is short then, and can be interrupted.
    if (size - started < window)
        return;
    sync_file_range(file.Get(), static_cast<off_t>(started), static_cast<off_t>(size - started), SYNC_FILE_RANGE_WRITE);
    if (started >= window) {
        sync_file_range(file.Get(), static_cast<off_t>(started - window), static_cast<off_t>(window),
            SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER);
    }
    started = size;
}

std::string StoreFile::ReadBack() const
{
    // What was forced to the medium leaves memory, so that it is read from the medium.
    posix_fadvise(file.Get(), 0, 0, POSIX_FADV_DONTNEED);
    posix_fadvise(file.Get(), 0, 0, POSIX_FADV_SEQUENTIAL);
    Sha256 read;
    std::vector<char> buffer(1U << 20);
    for (uint64_t place = 0;;) {
        StopRequest::Check();
        const ssize_t count = ReadAt(file.Get(), buffer.data(), buffer.size(), place);
        if (count < 0)
            Fail("cannot be read back", errno);
        if (count == 0)
            return read.Hex();
        read.Add(buffer.data(), count);
        place += count;
    }
}

std::string StoreFile::Prove()
{
    if (full)
        Fail("cannot be written", ENOSPC);
    const StageEnd end = RunFunction("sync", [this] {
        return fsync(file.Get()) == 0 ? 0 : IsFull(errno) ? 2 : 1;
    });
    if (!end.Succeeded()) {
        full = WIFEXITED(end.status) && WEXITSTATUS(end.status) == 2;
        Fail("cannot be written to the medium", full ? ENOSPC : EIO);
    }
    std::string written = hash.Hex();
    if (ReadBack() != written)
        throw Failure(ExitStatus::Failed, path + ": reads back differently from what was written; the medium is bad");
    return written;
}

void StoreFile::PutInPlace(const std::string& place)
{
    if (rename(path.c_str(), place.c_str()) != 0)
        throw SystemFailure(ExitStatus::Failed, place + ": cannot be put in place", errno);
    guard.Done();
    const std::string parent = std::filesystem::path(place).parent_path();
    const Descriptor folder = Descriptor::Open(parent.empty() ? "." : parent, O_RDONLY | O_DIRECTORY);
    // The folder alone would not do: the folders above it may be new, and the boot sector was written by another
    // command.
    if (!folder || syncfs(folder.Get()) != 0)
        throw SystemFailure(ExitStatus::Failed, place + ": cannot be written to the medium", errno);
}
