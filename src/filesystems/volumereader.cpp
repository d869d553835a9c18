// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "volumereader.h"

#include "littleendian.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace {
constexpr uint64_t maximumRead = 64U << 20;
} // namespace

VolumeReader::VolumeReader(const std::string& path)
    : node(Descriptor::Open(path, O_RDONLY))
{
    if (!node)
        throw NoAccount("it cannot be opened: " + std::string(strerror(errno)));
}

std::string VolumeReader::Bytes(uint64_t offset, uint64_t size) const
{
    if (size > maximumRead || offset > INT64_MAX - size)
        throw NoAccount("its own structures have impossible sizes");
    std::string bytes(size, '\0');
    if (ReadAt(node.Get(), bytes.data(), size, offset) != static_cast<ssize_t>(size))
        throw NoAccount("it cannot be read at byte " + std::to_string(offset));
    return bytes;
}

uint64_t VolumeReader::Size() const
{
    const off_t end = lseek(node.Get(), 0, SEEK_END);
    if (end < 0)
        throw NoAccount("its size cannot be told: " + std::string(strerror(errno)));
    return static_cast<uint64_t>(end);
}

uint64_t VolumeReader::Number(uint64_t offset, unsigned size) const
{
    return LittleEndian(Bytes(offset, size), 0, size);
}
