// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "blockwriter.h"

#include "failure.h"
#include "readback.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>

#include <fcntl.h>
#include <unistd.h>

namespace {
constexpr uint64_t piece = 1U << 20; // stays in the processor's cache from the pipe to the checksum
constexpr uint64_t page = 4096;
constexpr uint64_t longEnough = 64U << 10; // for a call of its own to the drive

/** The image as it comes from the pipe. */
class Stream
{
public:
    /** @param most bytes that there is room for: what needs more takes no memory either */
    Stream(int source, uint64_t most)
        : source(source)
    {
        head.resize(ImageHeader::length);
        Read(head.data(), head.size());
        header = ImageHeader::Parse(head);
        if (!header)
            throw Failure(ExitStatus::Damaged, "the image is of another format");
        if (!header->Fits(most))
            throw Failure(ExitStatus::Refused, "the image needs more room than there is");
        head.resize(header->DataOffset());
        Read(head.data() + ImageHeader::length, head.size() - ImageHeader::length);
        left = header->ChecksumInterval();
        if (!Used().Fit(most))
            throw Failure(ExitStatus::Damaged, "the image's map of used blocks does not fit the partition");
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

    /** What comes behind the last block, such as its checksum, is little. */
    void ReadToEnd()
    {
        std::string rest(piece, '\0');
        ssize_t count = 1;
        for (uint64_t done = 0; count > 0; done += std::max<ssize_t>(count, 0)) {
            if (done > piece)
                throw Failure(ExitStatus::Damaged, "the image goes on behind its last block");
            count = read(source, rest.data(), rest.size());
        }
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

/** The node of a partition. */
class Target
{
public:
    explicit Target(const std::string& path)
        : direct(Descriptor::Open(path, O_RDWR | O_DIRECT)) // not a file in memory, in tests
        , cached(Descriptor::Open(path, O_RDWR))
    {
        if (!cached)
            throw SystemFailure(ExitStatus::Failed, "cannot be written", errno);
    }

    /** For reading, past the memory of the system where that is possible. */
    [[nodiscard]] int Medium() const
    {
        return direct ? direct.Get() : cached.Get();
    }

    /**
     * Past the memory of the system, unless the extent is short or cuts a page: those wait there until the system
     * writes neighbours together.
     *
     * @param bytes at the beginning of a page
     */
    void Write(const char* bytes, Extent extent) const
    {
        const bool isShort = extent.size < longEnough || extent.size % page != 0 || extent.offset % page != 0;
        if (!WriteAt(isShort ? cached.Get() : Medium(), bytes, extent.size, extent.offset))
            throw ReadBack::Error{"cannot be written", errno};
    }

private:
    Descriptor direct;
    Descriptor cached;
};
} // namespace

void WriteBlocks(int source, const Device& partition, const std::function<void()>& opened)
{
    const Target target(partition.path);
    opened();
    Stream stream(source, partition.bytes);
    UsedBlocks used = stream.Used();
    ReadBack readBack(target.Medium(), [used](uint64_t most) mutable {
        return used.Next(most);
    });
    Checksum checksum;
    uint64_t done = 0;
    const std::unique_ptr<char, void (*)(void*)> bytes(static_cast<char*>(aligned_alloc(page, piece)), free);
    try {
        for (Extent extent = used.Next(piece); extent.size > 0; extent = used.Next(piece)) {
            stream.ReadBlocks(bytes.get(), extent.size);
            target.Write(bytes.get(), extent);
            checksum.Add(bytes.get(), extent.size);
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
