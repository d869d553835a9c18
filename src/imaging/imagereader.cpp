// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "imagereader.h"

#include "blockwriter.h"
#include "confinement.h"
#include "descriptor.h"
#include "failure.h"
#include "medium.h"
#include "process.h"
#include "progress.h"
#include "sha256.h"
#include "usedblocks.h"

#include <algorithm>
#include <cerrno>
#include <tuple>

#include <fcntl.h>
#include <unistd.h>

namespace {
constexpr size_t piece = 1U << 20;

/** Reads the volumes one after the other. */
class VolumeReader
{
public:
    explicit VolumeReader(const std::vector<std::string>& paths)
        : paths(paths)
        , buffer(piece)
    {
    }

    /** The next bytes; empty at the end. */
    std::pair<const char*, size_t> Next()
    {
        StopRequest::Check();
        while (next < paths.size() || file) {
            if (!file)
                Open();
            const ssize_t count = read(file.Get(), buffer.data(), buffer.size());
            if (count < 0 && errno != EINTR)
                throw SystemFailure(ExitStatus::Damaged, paths[next - 1] + ": cannot be read from the medium", errno);
            if (count > 0) {
                done += count;
                return {buffer.data(), count};
            }
            if (count == 0)
                file.Close();
        }
        return {nullptr, 0};
    }

    [[nodiscard]] uint64_t Done() const
    {
        return done;
    }

private:
    void Open()
    {
        file = Medium::OpenFile(paths[next], O_RDONLY);
        if (!file)
            throw Medium::Refusal(ExitStatus::Damaged, paths[next] + ": cannot be read", errno);
        posix_fadvise(file.Get(), 0, 0, POSIX_FADV_SEQUENTIAL);
        ++next;
    }

    const std::vector<std::string>& paths;
    size_t next = 0;
    Descriptor file;
    std::vector<char> buffer;
    uint64_t done = 0;
};

/** Gives the volumes to a pipeline whose first stage reads `sink`; ends when that reads no more. */
std::string Feed(Pipeline& pipeline, Descriptor sink, VolumeReader& reader, uint64_t total)
{
    Sha256 hash;
    fcntl(sink.Get(), F_SETFL, O_NONBLOCK);
    for (auto [data, size] = reader.Next(); size > 0; std::tie(data, size) = reader.Next()) {
        hash.Add(data, size);
        for (size_t given = 0; given < size;) {
            std::vector<pollfd> wanted = {{sink.Get(), POLLOUT, 0}};
            pipeline.Wait(wanted, 1000);
            Progress::Report(reader.Done(), total);
            if (wanted[0].revents == 0)
                continue;
            const ssize_t count = write(sink.Get(), data + given, size - given);
            if (count > 0)
                given += count;
            else if (errno != EAGAIN && errno != EINTR)
                return {};
        }
    }
    return hash.Hex();
}
} // namespace

ImageVolumes::ImageVolumes(const ImageFiles& files)
{
    size_t highest = 0;
    for (unsigned number = 0; number < 1000; ++number) {
        const auto status = Medium::Look(files.Volume(number));
        const int error = status ? S_ISREG(status->st_mode) ? 0 : S_ISLNK(status->st_mode) ? ELOOP : ENXIO : errno;
        if (error == 0) {
            highest = number + 1;
            bytes += status->st_size;
            paths.push_back(files.Volume(number));
        } else if (error == EIO || error == EXDEV || status) {
            throw Medium::Refusal(
                ExitStatus::Damaged, files.Volume(number) + ": cannot be read from the medium", error);
        }
    }
    if (paths.empty())
        throw Failure(ExitStatus::Damaged, files.Volume(0) + ": the first volume of the image is missing");
    for (unsigned number = 0; number < highest; ++number) {
        if (paths.size() <= number || paths[number] != files.Volume(number))
            throw Failure(ExitStatus::Damaged, files.Volume(number) + ": this volume of the image is missing");
    }
}

std::string ImageVolumes::Head(uint64_t most) const
{
    auto [out, in] = Descriptor::Pipe();
    auto [result, plain] = Descriptor::Pipe();
    Pipeline pipeline;
    pipeline.Start({"lbzip2", "-dc"}, std::move(out), std::move(plain), ConfinedCompressor());
    VolumeReader reader(paths);
    fcntl(in.Get(), F_SETFL, O_NONBLOCK);
    auto [data, size] = reader.Next();
    std::string head(most, '\0');
    uint64_t have = 0;
    for (size_t given = 0; have < most;) {
        if (given == size && in) {
            std::tie(data, size) = reader.Next();
            given = 0;
            if (size == 0)
                in.Close();
        }
        std::vector<pollfd> wanted = {{in.Get(), POLLOUT, 0}, {result.Get(), POLLIN, 0}};
        pipeline.Wait(wanted, 1000);
        if (wanted[0].revents != 0) {
            const ssize_t count = write(in.Get(), data + given, size - given);
            if (count > 0)
                given += count;
            else if (errno != EAGAIN && errno != EINTR)
                in.Close();
        }
        if (wanted[1].revents != 0) {
            const ssize_t count = read(result.Get(), head.data() + have, most - have);
            if (count <= 0)
                break;
            have += count;
        }
    }
    head.resize(have);
    return head;
}

void ImageVolumes::CheckMap(const ImageHeader& header, uint64_t partitionBytes) const
{
    const std::string head = Head(header.DataOffset());
    if (head.size() != header.DataOffset()
        || !UsedBlocks(header, std::string_view(head).substr(ImageHeader::length)).Fit(partitionBytes)) {
        throw Failure(ExitStatus::Damaged,
            FirstPath() + " cannot be written back: its map of used blocks does not fit the partition");
    }
}

void ImageVolumes::CheckRecord(const ImageRecord& record) const
{
    if (bytes != record.bytes) {
        throw Failure(ExitStatus::Damaged,
            FirstPath() + ": the image is not whole: it has " + std::to_string(bytes) + " bytes, its record names "
                + std::to_string(record.bytes));
    }
    VolumeReader reader(paths);
    Sha256 hash;
    for (auto [data, size] = reader.Next(); size > 0; std::tie(data, size) = reader.Next()) {
        hash.Add(data, size);
        Progress::Report(reader.Done(), bytes);
    }
    if (hash.Hex() != record.sha256)
        throw Failure(ExitStatus::Damaged, FirstPath() + ": the image is damaged: its hash is not the recorded one");
}

void ImageVolumes::CheckInFull(const std::string& head) const
{
    auto [out, in] = Descriptor::Pipe();
    auto [plain, compressor] = Descriptor::Pipe();
    Pipeline pipeline;
    const bool isImage = ImageHeader::Parse(head).has_value();
    pipeline.Start(
        {"lbzip2", "-dc"}, std::move(out), isImage ? std::move(compressor) : Descriptor(), ConfinedCompressor());
    // Only the count of blocks in the header shows a cut.
    if (isImage)
        pipeline.Start({"partclone.chkimg", "-f", "1", "-L", "/dev/null", "-s", "-"}, std::move(plain), {},
            ConfinedParser(Confinement::Access::None, {}, bytes * 64));
    VolumeReader reader(paths);
    const std::string hash = Feed(pipeline, std::move(in), reader, bytes);
    const std::vector<StageEnd> ends = pipeline.Finish();
    if (hash.empty() || !std::all_of(ends.begin(), ends.end(), [](const StageEnd& end) {
            return end.Succeeded();
        }))
        throw Failure(ExitStatus::Damaged, FirstPath() + ": the image is damaged or cut");
}

void ImageVolumes::WriteTo(const Device& partition, const std::string& sha256) const
{
    auto [out, in] = Descriptor::Pipe();
    auto [plain, decompressor] = Descriptor::Pipe();
    Pipeline pipeline;
    pipeline.Start({"lbzip2", "-dc"}, std::move(out), std::move(decompressor), ConfinedCompressor());
    pipeline.StartFunction(
        "writer",
        [&partition] {
            close_range(STDERR_FILENO + 1, ~0U, 0); // among them the end of the image that is written to
            WriteBlocks(STDIN_FILENO, partition, [&partition] {
                Confinement{Confinement::Work::Function, (1ULL << 30) + partition.bytes / 256}();
            });
            return 0;
        },
        std::move(plain));
    VolumeReader reader(paths);
    const std::string hash = Feed(pipeline, std::move(in), reader, bytes);
    const std::vector<StageEnd> ends = pipeline.Finish();
    // The stage nearest to the medium that failed is the reason; one whose reader went away is none.
    for (const StageEnd& end : ends) {
        if (!end.Succeeded() && !(end.name == "lbzip2" && !ends.back().Succeeded() && end.said.empty()))
            throw Failure(ExitStatus::Failed,
                partition.path + ": " + (end.name == "lbzip2" ? "lbzip2 failed: " : "") + end.LastWords());
    }
    if (hash.empty() || (!sha256.empty() && hash != sha256))
        throw Failure(
            ExitStatus::Failed, FirstPath() + ": the image read differently the second time; the medium is bad");
}
