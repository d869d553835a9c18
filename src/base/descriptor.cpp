// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "descriptor.h"

#include "failure.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

void Descriptor::Close()
{
    if (number >= 0)
        close(number);
    number = -1;
}

Descriptor Descriptor::Open(const std::string& path, int flags, int mode)
{
    return Descriptor(open(path.c_str(), flags | O_CLOEXEC, mode));
}

std::pair<Descriptor, Descriptor> Descriptor::Pipe()
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        throw SystemFailure(ExitStatus::Failed, "no pipe can be made", errno);
    fcntl(ends[0], F_SETPIPE_SZ, 1 << 20);
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

ssize_t ReadAt(int descriptor, void* buffer, size_t size, uint64_t offset)
{
    size_t done = 0;
    while (done < size) {
        const ssize_t count = pread(descriptor, static_cast<char*>(buffer) + done, size - done, offset + done);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return -1;
        if (count == 0)
            break;
        done += count;
    }
    return done;
}

bool WriteAt(int descriptor, const void* buffer, size_t size, uint64_t offset)
{
    for (size_t done = 0; done < size;) {
        const ssize_t count = pwrite(descriptor, static_cast<const char*>(buffer) + done, size - done, offset + done);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;
        done += count;
    }
    return true;
}

bool WriteAll(int descriptor, const void* buffer, size_t size)
{
    for (size_t done = 0; done < size;) {
        const ssize_t count = write(descriptor, static_cast<const char*>(buffer) + done, size - done);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;
        done += count;
    }
    return true;
}

std::string ReadFile(const std::string& path, size_t most)
{
    const Descriptor file = Descriptor::Open(path, O_RDONLY | O_NONBLOCK);
    if (!file)
        throw SystemFailure(ExitStatus::Damaged, path + ": cannot be read", errno);
    struct stat status = {};
    if (fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode))
        throw Failure(ExitStatus::Damaged, path + ": this is not a file");
    return ReadFile(file, path, most);
}

std::string ReadFile(const Descriptor& file, const std::string& path, size_t most)
{
    struct stat status = {};
    fstat(file.Get(), &status);
    std::string text;
    text.reserve(std::min<uint64_t>(status.st_size, most));
    char buffer[65536];
    for (;;) {
        const ssize_t count = ReadAt(file.Get(), buffer, sizeof buffer, text.size());
        if (count < 0)
            throw SystemFailure(ExitStatus::Damaged, path + ": cannot be read", errno);
        text.append(buffer, count);
        if (text.size() > most)
            throw Failure(ExitStatus::Damaged, path + ": the file is too long to be what its name says");
        if (static_cast<size_t>(count) < sizeof buffer)
            return text;
    }
}
