// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "relay.h"

#include "confinement.h"
#include "failure.h"
#include "progress.h"
#include "use.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {
constexpr size_t piece = 1U << 20;

void DontBlock(const Descriptor& descriptor)
{
    fcntl(descriptor.Get(), F_SETFL, O_NONBLOCK);
}

bool WouldBlock()
{
    return errno == EAGAIN || errno == EINTR;
}
} // namespace

Relay::Relay(const Device& partition, const std::string& variant, const SpaceAccount* account, StoreFile& file)
    : partition(partition)
    , file(file)
    , account(account)
    , buffer(piece)
{
    StartImager(variant);
}

Relay::Relay(const Device& partition, BlockReader& reader, StoreFile& file)
    : partition(partition)
    , file(file)
    , head(ImageHeader::OfAllBlocks(partition.bytes))
    , header(ImageHeader::Parse(head))
    , pending(head)
    , reader(&reader)
    , buffer(piece)
{
    StartCompressor();
}

void Relay::StartImager(const std::string& variant)
{
    auto [out, in] = Descriptor::Pipe();
    // It declines the name of a mounted device even where it is mounted read-only, and would take it only with the
    // option that skips its other checks too. A node of another name keeps those.
    Confinement confinement = ConfinedParser(Confinement::Access::Read, partition.path, partition.bytes);
    if (IsMounted(partition))
        confinement.alias = "/mnt/source";
    // partclone's own checksums (-a 0 turns them off) would cost a second pass over all data and find nothing that the
    // hash of the volume does not; -f 1 shortens the wait at its end. Its log goes nowhere: one that can't be written
    // would leave it without an image, and well pleased.
    pipeline.Start({"partclone." + variant, "-c", "-q", "-a", "0", "-f", "1", "-L", "/dev/null", "-s",
                       confinement.alias.empty() ? partition.path : confinement.alias, "-o", "-"},
        {}, std::move(in), confinement);
    source = std::move(out);
    DontBlock(source);
}

/** Not before there is something to compress: it begins its stream at once, and another attempt would follow that. */
void Relay::StartCompressor()
{
    auto [out, in] = Descriptor::Pipe();
    auto [result, stream] = Descriptor::Pipe();
    pipeline.Start({"lbzip2", "-c"}, std::move(out), std::move(stream), ConfinedCompressor());
    sink = std::move(in);
    compressed = std::move(result);
    DontBlock(sink);
    DontBlock(compressed);
}

void Relay::Run()
{
    while (compressed || !HeadComplete())
        Step();
    // A compressor that has died would leave partclone waiting.
    source.Close();
    sink.Close();
    file.Complete();
    // partclone has given all blocks: it takes a rest of up to a second now, and would then sync a pipe.
    if (!reader && relayed == header->DataBytes())
        pipeline.Dismiss(0);
    const std::vector<StageEnd> ends = pipeline.Finish();
    if (!ends.back().Succeeded())
        throw Failure(ExitStatus::Failed, partition.path + ": lbzip2 failed: " + ends.back().LastWords());
    if (!ends.front().Succeeded())
        throw Failure(ExitStatus::Failed, partition.path + ": " + ends[0].name + " failed: " + ends[0].LastWords());
    if (file.Size() == 0)
        throw Failure(ExitStatus::Failed, partition.path + ": lbzip2 has written nothing");
    if (relayed != header->DataBytes())
        throw Failure(ExitStatus::Failed, partition.path + ": the image did not become whole");
}

/** One wait, and whatever can be done after it. What is ready already isn't waited for, or the wait would not wait. */
void Relay::Step()
{
    const bool wantsSource = source && pending.empty() && !sourceReady;
    const bool wantsSink = sink && (sourceReady || !pending.empty()) && !sinkReady;
    std::vector<pollfd> wanted = {{wantsSource ? source.Get() : -1, POLLIN, 0},
        {wantsSink ? sink.Get() : -1, POLLOUT, 0}, {compressed.Get(), POLLIN, 0}};
    pipeline.Wait(wanted, 1000);
    sourceReady = sourceReady || wanted[0].revents != 0;
    sinkReady = sinkReady || wanted[1].revents != 0;
    if (wanted[2].revents != 0)
        TakeCompressed();
    if (!pending.empty() && sinkReady)
        GiveOut();
    else if (pending.empty() && sourceReady && !HeadComplete())
        TakeHead();
    else if (pending.empty() && sourceReady && sinkReady)
        Splice();
    if (header)
        Progress::Report(relayed, header->DataBytes());
}

void Relay::TakeHead()
{
    const size_t wanted = header ? header->DataOffset() - head.size() : ImageHeader::length - head.size();
    const ssize_t count = read(source.Get(), buffer.data(), std::min(wanted, buffer.size()));
    sourceReady = false;
    if (count < 0 && WouldBlock())
        return;
    if (count <= 0) {
        SourceEnded();
        return;
    }
    head.append(buffer.data(), count);
    if (!header && head.size() == ImageHeader::length) {
        header = ImageHeader::Parse(head);
        if (!header || header->hasChecksums)
            throw Unreadable("its partclone writes images of another format");
        head.reserve(header->DataOffset()); // a large disk's bits are kept once only
    }
    if (HeadComplete()) {
        JudgeMap();
        StartCompressor();
        pending = head;
    }
}

/** Before anything of it is written: an image that lacks what is in use, or can't be written back, is none. */
void Relay::JudgeMap() const
{
    const UsedBlocks map(*header, std::string_view(head).substr(ImageHeader::length));
    if (!header->Fits(partition.bytes))
        throw Unreadable("it counts more space than its partition has");
    if (!map.Fit(partition.bytes))
        throw Unreadable("partclone's map of used blocks does not fit the partition");
    if (account == nullptr)
        return;
    const uint64_t lacking = account->Lacking([&map](uint64_t offset, uint64_t size) {
        return map.Cover({offset, size});
    });
    if (lacking > 0) {
        throw Unreadable("partclone's map lacks " + std::to_string(lacking) + " of the "
            + std::to_string(account->UsedBlocks()) + " blocks in use by its own account");
    }
}

/** From pipe to pipe, without a copy. */
void Relay::Splice()
{
    const uint64_t left = header->DataBytes() - relayed;
    const ssize_t count = splice(
        source.Get(), nullptr, sink.Get(), nullptr, std::min<uint64_t>(left, piece), SPLICE_F_MOVE | SPLICE_F_NONBLOCK);
    sourceReady = sinkReady = false;
    if (count > 0) {
        relayed += count;
        // Not waited for: partclone takes a rest before it ends.
        if (relayed == header->DataBytes())
            sink.Close();
    } else if (count == 0) {
        SourceEnded();
    } else if (errno == EPIPE) {
        sink.Close();
    }
    if (!sink)
        source.Close();
}

void Relay::GiveOut()
{
    const ssize_t count = write(sink.Get(), pending.data(), pending.size());
    if (count > 0) {
        pending.remove_prefix(count);
    } else if (!WouldBlock()) {
        sink.Close();
        source.Close();
        pending = {};
        return;
    }
    sinkReady = false;
    if (!pending.empty())
        return;
    if (reader != nullptr) {
        block = reader->Next();
        pending = block;
        relayed += block.size();
    }
    if (pending.empty() && relayed == header->DataBytes()) {
        sink.Close();
        source.Close();
    }
}

/** partclone has stopped before the end of the blocks. */
void Relay::SourceEnded()
{
    source.Close();
    const StageEnd& end = pipeline.WaitFor(0);
    if (WIFSIGNALED(end.status))
        throw Failure(ExitStatus::Failed, partition.path + ": " + end.LastWords());
    throw Unreadable(end.name + ": " + end.LastWords());
}

void Relay::TakeCompressed()
{
    const ssize_t count = read(compressed.Get(), buffer.data(), buffer.size());
    if (count > 0)
        file.Write(buffer.data(), count);
    else if (count == 0 || !WouldBlock())
        compressed.Close();
}
