// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "blockwriter.h"

#include "failure.h"
#include "readback.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace {
constexpr uint64_t piece = 256U << 10; // stays in the processor's cache from the pipe to the checksum

/** The image as it comes from the pipe. */
class Stream
{
public:
    explicit Stream(int source)
        : source(source)
    {
        head.resize(ImageHeader::length);
        Read(head.data(), head.size());
        header = ImageHeader::Parse(head);
        if (!header)
            throw Failure(ExitStatus::Damaged, "the image is of another format");
        head.resize(header->DataOffset());
        Read(head.data() + ImageHeader::length, head.size() - ImageHeader::length);
        left = header->ChecksumInterval();
    }

    [[nodiscard]] UsedBlocks Used() const
    {
        return {*header, std::string_view(head).substr(ImageHeader::length)};
    }

    /** The next bytes of blocks. */
    void ReadBlocks(char* bytes, uint64_t size)
    {
        for (uint64_t count = 0; size > 0; bytes += count, size -= count) {
            if (header->hasChecksums && left == 0) {
                std::string checksum(header->checksumBytes, '\0');
                Read(checksum.data(), checksum.size());
                left = header->ChecksumInterval();
            }
            count = header->hasChecksums ? std::min(size, left) : size;
            Read(bytes, count);
            left -= count;
        }
    }

    void ReadToEnd()
    {
        std::string rest(piece, '\0');
        while (read(source, rest.data(), rest.size()) > 0) { }
    }

private:
    void Read(char* bytes, uint64_t size)
    {
        while (size > 0) {
            const ssize_t count = read(source, bytes, size);
            if (count < 0 && errno != EINTR)
                throw SystemFailure(ExitStatus::Failed, "the image cannot be read", errno);
            if (count == 0)
                throw Failure(ExitStatus::Damaged, "the image ends early");
            bytes += std::max<ssize_t>(count, 0);
            size -= std::max<ssize_t>(count, 0);
        }
    }

    int source;
    std::string head;
    std::optional<ImageHeader> header;
    uint64_t left = 0; ///< bytes of blocks before the next checksum
};
} // namespace

void WriteBlocks(int source, const Device& partition)
{
    const Descriptor node = Descriptor::Open(partition.path, O_WRONLY);
    Descriptor medium = Descriptor::Open(partition.path, O_RDONLY | O_DIRECT);
    if (!medium)
        medium = Descriptor::Open(partition.path, O_RDONLY); // a file, in tests
    if (!node || !medium)
        throw SystemFailure(ExitStatus::Failed, "cannot be written", errno);
    Stream stream(source);
    UsedBlocks used = stream.Used();
    ReadBack readBack(medium.Get(), [used](uint64_t most) mutable {
        return used.Next(most);
    });
    Checksum checksum;
    uint64_t done = 0;
    std::vector<char> bytes(piece);
    try {
        for (Extent extent = used.Next(piece); extent.size > 0; extent = used.Next(piece)) {
            stream.ReadBlocks(bytes.data(), extent.size);
            if (!WriteAt(node.Get(), bytes.data(), extent.size, extent.offset))
                throw ReadBack::Error{"cannot be written", errno};
            checksum.Add(bytes.data(), extent.size);
            done += extent.size;
            readBack.Follow(done);
        }
        readBack.End(done);
        stream.ReadToEnd();
        if (readBack.Sum() != checksum.Sum())
            throw Failure(ExitStatus::Failed, "reads back differently from what was written; the disk is bad");
    } catch (const ReadBack::Error& error) {
        throw SystemFailure(ExitStatus::Failed, error.what, error.number);
    }
}
