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
constexpr uint64_t piece = 1U << 20;

/** The image as it comes from the pipe. */
class Stream
{
public:
    explicit Stream(int source)
        : source(source)
    {
        Read(head, ImageHeader::length);
        header = ImageHeader::Parse(head);
        if (!header)
            throw Failure(ExitStatus::Damaged, "the image is of another format");
        Read(head, header->DataOffset() - head.size());
        left = header->ChecksumInterval();
    }

    [[nodiscard]] UsedBlocks Used() const
    {
        return {*header, std::string_view(head).substr(ImageHeader::length)};
    }

    /** Fills `bytes` with the next bytes of blocks. */
    void ReadBlocks(std::string& bytes, uint64_t size)
    {
        bytes.clear();
        while (bytes.size() < size) {
            if (header->hasChecksums && left == 0) {
                std::string checksum;
                Read(checksum, header->checksumBytes);
                left = header->ChecksumInterval();
            }
            const uint64_t count = std::min(size - bytes.size(), header->hasChecksums ? left : size);
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
    /** Adds so many bytes. */
    void Read(std::string& bytes, uint64_t size)
    {
        size_t done = bytes.size();
        bytes.resize(done + size);
        while (done < bytes.size()) {
            const ssize_t count = read(source, bytes.data() + done, bytes.size() - done);
            if (count < 0 && errno != EINTR)
                throw SystemFailure(ExitStatus::Failed, "the image cannot be read", errno);
            if (count == 0)
                throw Failure(ExitStatus::Damaged, "the image ends early");
            done += std::max<ssize_t>(count, 0);
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
    std::string bytes;
    try {
        for (Extent extent = used.Next(piece); extent.size > 0; extent = used.Next(piece)) {
            stream.ReadBlocks(bytes, extent.size);
            if (!WriteAt(node.Get(), bytes.data(), bytes.size(), extent.offset))
                throw ReadBack::Error{"cannot be written", errno};
            checksum.Add(bytes.data(), bytes.size());
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
