// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "readback.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>

#include <fcntl.h>
#include <unistd.h>

namespace {
constexpr uint64_t piece = 1U << 20;
constexpr uint64_t gap = 64U << 10;   // reading more than that in vain takes longer than another call
constexpr uint64_t window = 8U << 20; // read at a time, and as much is being written meanwhile
constexpr uint64_t most = 4 * window; // bounds what waits in memory, and with it the last sync
constexpr uint64_t notice = 1U << 20; // told of so much at a time
} // namespace

/** In the process of its own. */
class ReadBack::Worker
{
public:
    Worker(int file, const Place& place)
        : file(file)
        , writing(place)
        , reading(place)
        , buffer(static_cast<char*>(aligned_alloc(4096, piece)), free)
    {
    }

    /** To the last order; its result is the exit status. */
    int Run(int orders, int answers);

private:
    static std::vector<Extent> Take(const Place& place, uint64_t size);
    int Sync(const std::vector<Extent>& extents, unsigned flags) const;
    Answer ReadOn(uint64_t size, bool isSynced);

    int file;
    Place writing; ///< how far writing was begun
    Place reading;
    std::unique_ptr<char, void (*)(void*)> buffer;
    Checksum checksum;
    uint64_t done = 0;
};

ReadBack::ReadBack(int file, const Place& place)
{
    auto [orderEnd, orderStart] = Descriptor::Pipe();
    auto [answerEnd, answerStart] = Descriptor::Pipe();
    pipeline.StartFunction("proof", [&place, file, &start = orderStart, &end = orderEnd, &result = answerStart] {
        start.Close(); // its end is that of the orders
        return Worker(file, place).Run(end.Get(), result.Get());
    });
    orders = std::move(orderStart);
    answers = std::move(answerEnd);
}

ReadBack::ReadBack(int file)
    : ReadBack(file, [at = uint64_t{0}](uint64_t most) mutable {
        at += most;
        return Extent{at - most, most};
    })
{
}

std::vector<Extent> ReadBack::Worker::Take(const Place& place, uint64_t size)
{
    std::vector<Extent> extents;
    while (size > 0) {
        extents.push_back(place(std::min(size, piece)));
        size -= extents.back().size;
        if (extents.back().size == 0)
            break;
    }
    return extents;
}

/** Errors count here: the system tells of each but once, so fsync() would not know of them any more. */
int ReadBack::Worker::Sync(const std::vector<Extent>& extents, unsigned flags) const
{
    if (extents.empty())
        return 0;
    const auto from = static_cast<off_t>(extents.front().offset);
    if (sync_file_range(file, from, static_cast<off_t>(extents.back().End()) - from, flags) == 0)
        return 0;
    const bool isOfMedium = errno == EIO || errno == ENOSPC || errno == EDQUOT;
    return isOfMedium ? errno : 0; // not every file system offers it
}

/** What was forced to the medium leaves memory, so that it is read from the medium. */
ReadBack::Answer ReadBack::Worker::ReadOn(uint64_t size, bool isSynced)
{
    const std::vector<Extent> extents = Take(reading, size);
    constexpr unsigned wait = SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER;
    const int error = isSynced ? 0 : Sync(extents, wait);
    if (error != 0)
        return {done, error, false, false, {}};
    for (auto next = extents.begin(); next != extents.end();) {
        // What stands near to each other is read at once, with what is between it.
        const uint64_t from = next->offset;
        auto last = next;
        while (
            last + 1 != extents.end() && (last + 1)->End() - from <= piece && (last + 1)->offset - last->End() <= gap)
            ++last;
        posix_fadvise(file, static_cast<off_t>(from), static_cast<off_t>(last->End() - from), POSIX_FADV_DONTNEED);
        const ssize_t count = ReadAt(file, buffer.get(), last->End() - from, from);
        if (count < 0)
            return {done, errno, true, false, {}};
        for (; next <= last; done += next->size, ++next) {
            if (next->End() - from <= static_cast<uint64_t>(count)) // shorter than what was written: the checksum tells
                checksum.Add(buffer.get() + (next->offset - from), next->size);
        }
    }
    return {done, 0, false, false, {}};
}

int ReadBack::Worker::Run(int orders, int answers)
{
    posix_fadvise(file, 0, 0, POSIX_FADV_SEQUENTIAL);
    uint64_t started = 0;
    Answer answer = {};
    for (Order order = {}; answer.error == 0 && read(orders, &order, sizeof order) == sizeof order;) {
        answer.error = Sync(Take(writing, order.size - started), SYNC_FILE_RANGE_WRITE);
        started = order.size;
        while (answer.error == 0 && !order.isLast && order.size - done >= 2 * window) {
            answer = ReadOn(window, false);
            WriteAll(answers, &answer, sizeof answer);
        }
        if (answer.error == 0 && order.isLast) {
            answer = fsync(file) == 0 ? ReadOn(order.size - done, true) : Answer{done, errno, false, false, {}};
            answer.isLast = true;
            answer.sum = checksum.Sum();
        }
        if (answer.error != 0 || order.isLast)
            return WriteAll(answers, &answer, sizeof answer) ? 0 : 1;
    }
    return 1;
}

void ReadBack::Tell(Order order)
{
    // Whether it is heard shows in the answer.
    WriteAll(orders.Get(), &order, sizeof order);
}

ReadBack::Answer ReadBack::Listen()
{
    std::vector<pollfd> wanted = {{answers.Get(), POLLIN, 0}};
    while (wanted[0].revents == 0)
        pipeline.Wait(wanted, 1000);
    Answer answer = {};
    if (read(answers.Get(), &answer, sizeof answer) != sizeof answer)
        throw Error{"cannot be read back", EIO};
    if (answer.error != 0)
        throw Error{answer.reading ? "cannot be read back" : "cannot be written to the medium", answer.error};
    done = answer.done;
    return answer;
}

void ReadBack::Follow(uint64_t size)
{
    if (size - told < notice)
        return;
    Tell({size, false});
    told = size;
    while (size - done > most)
        Listen();
}

void ReadBack::End(uint64_t size)
{
    Tell({size, true});
    told = size;
}

Checksum::Value ReadBack::Sum()
{
    for (;;) {
        const Answer answer = Listen();
        if (answer.isLast)
            return answer.sum;
    }
}
