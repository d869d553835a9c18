// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "blockreader.h"

#include "failure.h"
#include "process.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <fcntl.h>

namespace {
constexpr uint64_t most = 1U << 20;
} // namespace

BlockReader::BlockReader(const Device& device, std::vector<Twins> twins)
    : node(Descriptor::Open(device.path, O_RDONLY))
    , directNode(Descriptor::Open(device.path, O_RDONLY | O_DIRECT))
    , deviceBytes(device.bytes)
    , sectorBytes(device.sectorBytes)
    , twins(std::move(twins))
{
    if (!node)
        throw SystemFailure(ExitStatus::Failed, device.path + ": cannot be read", errno);
    posix_fadvise(node.Get(), 0, 0, POSIX_FADV_SEQUENTIAL);
}

void BlockReader::NoteBad(uint64_t offset, size_t size)
{
    if (!bad.empty() && bad.back().first + bad.back().second == offset)
        bad.back().second += size;
    else
        bad.emplace_back(offset, size);
}

/** Bytes that lie in one sector. */
bool BlockReader::ReadSector(char* bytes, uint64_t offset, size_t size)
{
    const std::unique_ptr<void, void (*)(void*)> sector(aligned_alloc(4096, std::max(4096U, sectorBytes)), free);
    const uint64_t first = offset - offset % sectorBytes;
    ssize_t got = directNode ? ReadAt(directNode.Get(), sector.get(), sectorBytes, first) : -1;
    if (got < 0)
        got = ReadAt(node.Get(), sector.get(), sectorBytes, first);
    if (got < static_cast<ssize_t>(offset - first + size))
        return false;
    memcpy(bytes, static_cast<char*>(sector.get()) + (offset - first), size);
    return true;
}

/** The same, of a sector that can't be read; on a disk of large sectors the twin may lie across two of them. */
bool BlockReader::ReadTwin(char* bytes, uint64_t offset, size_t size)
{
    for (const Twins& pair : twins) {
        for (const auto& [from, to] : {std::pair(pair.first, pair.second), std::pair(pair.second, pair.first)}) {
            if (offset < from || offset - from >= pair.bytes || size > pair.bytes - (offset - from))
                continue;
            const uint64_t twin = to + (offset - from);
            const size_t part = std::min<uint64_t>(size, sectorBytes - twin % sectorBytes);
            if (ReadSector(bytes, twin, part) && (part == size || ReadSector(bytes + part, twin + part, size - part)))
                return true;
        }
    }
    return false;
}

void BlockReader::ReadSectors(char* bytes, uint64_t offset, size_t size)
{
    for (size_t done = 0; done < size;) {
        StopRequest::Check();
        const uint64_t begin = offset + done;
        const size_t count = std::min<uint64_t>(size - done, sectorBytes - begin % sectorBytes);
        if (!ReadSector(bytes + done, begin, count)) {
            if (ReadTwin(bytes + done, begin, count)) {
                fromTwins += count;
            } else {
                memset(bytes + done, 0, count);
                NoteBad(begin, count);
            }
        }
        done += count;
    }
}

std::string BlockReader::Next()
{
    StopRequest::Check();
    std::string bytes(std::min(most, deviceBytes - place), '\0');
    if (ReadAt(node.Get(), bytes.data(), bytes.size(), place) != static_cast<ssize_t>(bytes.size()))
        ReadSectors(bytes.data(), place, bytes.size());
    place += bytes.size();
    return bytes;
}
