// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "readback.h"

#include "sha256.h"

#include <algorithm>
#include <cerrno>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace {
constexpr uint64_t window = 8U << 20; // read at a time, and as much is being written meanwhile
constexpr uint64_t most = 4 * window; // bounds what waits in memory, and with it the last sync
constexpr uint64_t notice = 1U << 20; // told of so much at a time

/** Errors count here: the system tells of each but once, so fsync() would not know of them any more. */
int SyncRange(int file, uint64_t from, uint64_t size, unsigned flags)
{
    if (sync_file_range(file, static_cast<off_t>(from), static_cast<off_t>(size), flags) == 0)
        return 0;
    const bool isOfMedium = errno == EIO || errno == ENOSPC || errno == EDQUOT;
    return isOfMedium ? errno : 0; // not every file system offers it
}
} // namespace

ReadBack::ReadBack(int file)
{
    auto [orderEnd, orderStart] = Descriptor::Pipe();
    auto [answerEnd, answerStart] = Descriptor::Pipe();
    pipeline.StartFunction("proof", [file, &start = orderStart, &end = orderEnd, &result = answerStart] {
        start.Close(); // its end is that of the orders
        return Work(file, end.Get(), result.Get());
    });
    orders = std::move(orderStart);
    answers = std::move(answerEnd);
}

/** What was forced to the medium leaves memory, so that it is read from the medium. */
ReadBack::Answer ReadBack::ReadOn(int file, Sha256& hash, uint64_t from, uint64_t to)
{
    posix_fadvise(file, static_cast<off_t>(from), static_cast<off_t>(to - from), POSIX_FADV_DONTNEED);
    std::vector<char> buffer(1U << 20);
    while (from < to) {
        const ssize_t count = ReadAt(file, buffer.data(), std::min<uint64_t>(buffer.size(), to - from), from);
        if (count < 0)
            return {from, errno, true, {}};
        if (count == 0)
            break; // shorter than what was written: the hash tells
        hash.Add(buffer.data(), count);
        from += count;
    }
    return {to, 0, false, {}};
}

/** In the process of its own. */
int ReadBack::Work(int file, int orders, int answers)
{
    posix_fadvise(file, 0, 0, POSIX_FADV_SEQUENTIAL);
    Sha256 hash;
    uint64_t started = 0;
    Answer answer = {0, 0, false, {}};
    for (Order order = {}; answer.error == 0 && read(orders, &order, sizeof order) == sizeof order;) {
        answer.error = SyncRange(file, started, order.size - started, SYNC_FILE_RANGE_WRITE);
        started = order.size;
        while (answer.error == 0 && !order.isLast && order.size - answer.done >= 2 * window) {
            answer.error = SyncRange(file, answer.done, window,
                SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER);
            if (answer.error == 0)
                answer = ReadOn(file, hash, answer.done, answer.done + window);
            WriteAll(answers, &answer, sizeof answer);
        }
        if (answer.error == 0 && order.isLast) {
            answer = fsync(file) == 0 ? ReadOn(file, hash, answer.done, order.size) : Answer{0, errno, false, {}};
            hash.Hex().copy(answer.hash, sizeof answer.hash);
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
        throw Error{"cannot be read back", ECHILD};
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

std::string ReadBack::Hash()
{
    for (;;) {
        const Answer answer = Listen();
        if (answer.hash[0] != '\0')
            return {answer.hash, sizeof answer.hash};
    }
}
