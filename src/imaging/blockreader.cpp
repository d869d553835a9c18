// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "blockreader.h"

#include "failure.h"
#include "process.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <fcntl.h>

namespace {
constexpr uint64_t most = 1U << 20;
} // namespace

BlockReader::BlockReader(const Device& device, const ImageHeader& header, std::string_view bits, uint64_t done)
    : node(Descriptor::Open(device.path, O_RDONLY))
    , directNode(Descriptor::Open(device.path, O_RDONLY | O_DIRECT))
    , deviceBytes(device.bytes)
    , sectorBytes(device.sectorBytes)
    , used(header, bits)
{
    while (done > 0) {
        const uint64_t passed = used.Next(done).size;
        done = passed > 0 ? done - passed : 0;
    }
}

void BlockReader::NoteBad(uint64_t offset, size_t size)
{
    if (!bad.empty() && bad.back().first + bad.back().second == offset)
        bad.back().second += size;
    else
        bad.emplace_back(offset, size);
}

void BlockReader::ReadSectors(char* bytes, uint64_t offset, size_t size)
{
    const std::unique_ptr<void, void (*)(void*)> sector(aligned_alloc(4096, std::max(4096U, sectorBytes)), free);
    for (size_t done = 0; done < size;) {
        StopRequest::Check();
        const uint64_t place = offset + done;
        const uint64_t first = place - place % sectorBytes;
        const size_t count = std::min<uint64_t>(size - done, first + sectorBytes - place);
        ssize_t got = directNode ? ReadAt(directNode.Get(), sector.get(), sectorBytes, first) : -1;
        if (got < 0)
            got = ReadAt(node.Get(), sector.get(), sectorBytes, first);
        if (got >= static_cast<ssize_t>(place - first + count)) {
            memcpy(bytes + done, static_cast<char*>(sector.get()) + (place - first), count);
        } else {
            memset(bytes + done, 0, count);
            if (place < deviceBytes)
                NoteBad(place, count);
        }
        done += count;
    }
}

std::string BlockReader::Next()
{
    StopRequest::Check();
    const Extent extent = used.Next(most);
    std::string bytes(extent.size, '\0');
    if (ReadAt(node.Get(), bytes.data(), bytes.size(), extent.offset) != static_cast<ssize_t>(bytes.size()))
        ReadSectors(bytes.data(), extent.offset, bytes.size());
    return bytes;
}
