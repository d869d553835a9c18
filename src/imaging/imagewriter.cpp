// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "imagewriter.h"

#include "confinement.h"
#include "failure.h"
#include "process.h"
#include "relay.h"

#include <optional>

#include <unistd.h>

namespace {
/** Why these are no image of the partition; empty where they are. */
std::string WriteUsedBlocks(const Device& partition, const SavingPlan& plan, StoreFile& file)
{
    try {
        std::optional<SpaceAccount> account;
        if (plan.account != nullptr)
            account = plan.account(VolumeReader(partition.path));
        Relay(partition, plan.variant, account ? &*account : nullptr, file).Run();
        return {};
    } catch (const NoAccount& none) {
        return std::string("its own account of its space is in doubt: ") + none.what();
    } catch (const Unreadable& unreadable) {
        return unreadable.reason;
    }
}

void WriteAllBlocks(const Device& partition, const SavingPlan& plan, StoreFile& file, ImageRecord& record)
{
    BlockReader reader(partition, plan.FindTwins(partition));
    Relay(partition, reader, file).Run();
    record.bad = reader.bad;
    // One place, as large as all there is to save: the disk is gone rather than bad.
    if (record.bad.size() == 1 && record.bad.front().second >= partition.bytes)
        throw Failure(ExitStatus::Failed, partition.path + ": nothing of it can be read; is the disk connected?");
    if (reader.fromTwins == 0)
        return;
    const std::string bytes = std::to_string(reader.fromTwins) + " bytes";
    record.state += "; " + bytes + " of one FAT are those of the other";
    Warn(partition.path + ": " + bytes
        + " of one FAT cannot be read, the disk has bad sectors; those of the other FAT are saved in their place");
}
} // namespace

void WriteImage(const Device& partition, const SavingPlan& plan, StoreFile& file, ImageRecord& record)
{
    record.state = plan.state;
    if (!plan.variant.empty()) {
        const std::string reason = WriteUsedBlocks(partition, plan, file);
        if (reason.empty())
            return;
        record.state = reason + ", all blocks";
        file.StartOver();
    }
    WriteAllBlocks(partition, plan, file, record);
}

void WriteExtendedNote(StoreFile& file)
{
    auto [out, in] = Descriptor::Pipe();
    auto [result, compressed] = Descriptor::Pipe();
    Pipeline pipeline;
    pipeline.Start({"lbzip2", "-c"}, std::move(out), std::move(compressed), ConfinedCompressor());
    WriteAll(in.Get(), extendedNote, sizeof extendedNote - 1);
    in.Close();
    const std::vector<StageEnd> ends = pipeline.Finish(); // its whole output fits into the pipe
    char buffer[4096];
    const ssize_t count = read(result.Get(), buffer, sizeof buffer);
    if (!ends.front().Succeeded() || count <= 0)
        throw Failure(ExitStatus::Failed, "lbzip2 failed: " + ends.front().LastWords());
    file.Write(buffer, count);
}
