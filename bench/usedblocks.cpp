// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

// The plainest way to read the used blocks of a partition, and to write them back, as the floor of what partclone and
// the commands take: without a check of anything.
//
// usedblocks read DEVICE MAP   writes an image to standard output; MAP is an image of that device, or its beginning
// usedblocks write DEVICE      writes the image on standard input to the device

#include "descriptor.h"
#include "failure.h"
#include "imageheader.h"

#include <cerrno>
#include <cstdio>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace {
constexpr uint64_t most = 1U << 20;

/** Exactly that many bytes, from a pipe too. */
std::string Read(const Descriptor& from, size_t size)
{
    std::string bytes(size, '\0');
    for (size_t done = 0; done < size;) {
        const ssize_t count = read(from.Get(), bytes.data() + done, size - done);
        if (count <= 0)
            throw Failure(ExitStatus::Failed, "cannot be read");
        done += count;
    }
    return bytes;
}

struct Map
{
    explicit Map(const Descriptor& from)
        : bytes(Read(from, ImageHeader::length))
        , header(ImageHeader::Parse(bytes).value())
    {
        bytes += Read(from, header.DataOffset() - bytes.size());
    }

    [[nodiscard]] bool IsUsed(uint64_t block) const
    {
        return (static_cast<unsigned char>(bytes[ImageHeader::length + block / 8]) >> (block % 8) & 1) != 0;
    }

    /** Calls `move` with place and size of each run of used blocks, in pieces. */
    template <typename Move> void ForEach(Move move) const
    {
        for (uint64_t block = 0; block < header.blocks;) {
            const uint64_t first = block;
            while (block < header.blocks && IsUsed(block) && (block - first) * header.blockBytes < most)
                ++block;
            if (block > first)
                move(first * header.blockBytes, (block - first) * header.blockBytes);
            else
                ++block;
        }
    }

    std::string bytes;
    ImageHeader header;
};

void Require(bool good, const char* what)
{
    if (!good)
        throw SystemFailure(ExitStatus::Failed, what, errno);
}
} // namespace

int main(int argc, char** argv)
{
    const bool reads = argc == 4 && std::string(argv[1]) == "read";
    if (!reads && (argc != 3 || std::string(argv[1]) != "write"))
        return 64;
    std::string buffer(2 * most, '\0');
    try {
        const Descriptor device = Descriptor::Open(argv[2], reads ? O_RDONLY : O_WRONLY);
        const Map map(reads ? Descriptor::Open(argv[3], O_RDONLY) : Descriptor(dup(STDIN_FILENO)));
        fcntl(reads ? STDOUT_FILENO : STDIN_FILENO, F_SETPIPE_SZ, most);
        if (reads)
            Require(WriteAll(STDOUT_FILENO, map.bytes.data(), map.bytes.size()), "cannot be written");
        const Descriptor source(dup(STDIN_FILENO));
        map.ForEach([&](uint64_t place, size_t size) {
            if (reads) {
                Require(ReadAt(device.Get(), buffer.data(), size, place) == static_cast<ssize_t>(size), "device");
                Require(WriteAll(STDOUT_FILENO, buffer.data(), size), "cannot be written");
            } else {
                const std::string bytes = Read(source, size);
                Require(WriteAt(device.Get(), bytes.data(), size, place), "device");
            }
        });
    } catch (const std::exception& error) {
        fprintf(stderr, "usedblocks: %s\n", error.what());
        return 1;
    }
    return 0;
}
