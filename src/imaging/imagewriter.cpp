// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "imagewriter.h"

#include "failure.h"
#include "process.h"
#include "relay.h"

#include <unistd.h>

void WriteImage(const Device& partition, const SavingPlan& plan, StoreFile& file, ImageRecord& record)
{
    record.state = plan.state;
    std::string variant = plan.variant.empty() ? "imager" : plan.variant;
    for (;;) {
        try {
            Relay relay(partition, variant, file);
            relay.Run();
            record.bad = relay.bad;
            return;
        } catch (const Unreadable& unreadable) {
            if (variant == "imager")
                throw Failure(ExitStatus::Failed, partition.path + ": cannot be read: " + unreadable.reason);
            variant = "imager";
            record.state = unreadable.reason + ", all blocks";
        }
    }
}

void WriteExtendedNote(StoreFile& file)
{
    auto [out, in] = Descriptor::Pipe();
    auto [result, compressed] = Descriptor::Pipe();
    Pipeline pipeline;
    pipeline.Start({"lbzip2", "-c"}, std::move(out), std::move(compressed));
    WriteAll(in.Get(), extendedNote, sizeof extendedNote - 1);
    in.Close();
    const std::vector<StageEnd> ends = pipeline.Finish(); // its whole output fits into the pipe
    char buffer[4096];
    const ssize_t count = read(result.Get(), buffer, sizeof buffer);
    if (!ends.front().Succeeded() || count <= 0)
        throw Failure(ExitStatus::Failed, "lbzip2 failed: " + ends.front().LastWords());
    file.Write(buffer, count);
}
