// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "swapidentity.h"

#include "failure.h"
#include "process.h"

#include <algorithm>
#include <filesystem>
#include <optional>

namespace {
namespace fs = std::filesystem;

bool IsSwap(const DiskPartition& partition)
{
    return partition.contents.type == "swap";
}

const SwapIdentity* FindSaved(const std::vector<SwapIdentity>& saved, unsigned number)
{
    const auto found = std::find_if(saved.begin(), saved.end(), [number](const SwapIdentity& swap) {
        return swap.number == number && !swap.uuid.empty();
    });
    return found == saved.end() ? nullptr : &*found;
}

/** The identity that the table asks of the only swap area, where that has another one. */
std::optional<SwapIdentity> IdentityFromFstab(
    const DiskPartition& partition, const std::vector<DiskPartition>& partitions, const Fstab& fstab)
{
    std::vector<const FstabEntry*> named;
    for (const FstabEntry& entry : fstab.entries) {
        if (entry.swap && (entry.tag == "UUID" || entry.tag == "LABEL"))
            named.push_back(&entry);
    }
    if (named.size() != 1 || std::count_if(partitions.begin(), partitions.end(), IsSwap) != 1
        || fstab.Find(*named.front(), partitions) != nullptr)
        return {};
    SwapIdentity identity = {partition.number, partition.contents.uuid, partition.contents.label};
    (named.front()->tag == "UUID" ? identity.uuid : identity.label) = named.front()->value;
    return identity;
}

void SetIdentity(DiskPartition& partition, const SwapIdentity& identity, const std::string& origin)
{
    const std::string& path = partition.device.path;
    NeedCommands({"swaplabel"});
    // A label of its own argument may begin with a hyphen.
    const StageEnd end = RunProgram({"swaplabel", "-L", identity.label, "-U", identity.uuid, path});
    FlushDevice(partition.device);
    partition.contents = ProbeContents(partition.device);
    if (!end.Succeeded() || partition.contents.uuid != identity.uuid)
        throw Failure(ExitStatus::Failed, path + ": the swap area's old identifier cannot be set: " + end.LastWords());
    Say(partition.device.name + ": the swap area has its identifier " + origin + " back: UUID " + identity.uuid
        + (identity.label.empty() ? "" : ", label " + identity.label));
}

/** The system waits at its start for a swap area that isn't there. */
void WarnOfMissing(const std::vector<DiskPartition>& partitions, const Fstab& fstab)
{
    for (const FstabEntry& entry : fstab.entries) {
        const bool waitedFor = !entry.tag.empty() || entry.source.rfind("/dev/disk/", 0) == 0;
        if (entry.swap && waitedFor && !entry.optional && fstab.Find(entry, partitions) == nullptr) {
            Warn("the restored system will wait for its swap area " + entry.source
                + ", which is not on this disk any more; correct /etc/fstab there");
        }
    }
}
} // namespace

std::string FindSavedTable(const std::string& folder, const std::string& disk)
{
    std::error_code error;
    const fs::path path = fs::absolute(folder, error).lexically_normal();
    const fs::path set = path.has_filename() ? path : path.parent_path();
    const std::string suffix = "_" + disk + ".sf";
    const fs::path named = set / (set.parent_path().filename().string() + "_" + set.filename().string() + suffix);
    if (fs::is_regular_file(named, error))
        return named;
    std::vector<std::string> found;
    for (const auto& entry : fs::directory_iterator(set, error)) {
        const std::string name = entry.path().filename();
        if (name.size() > suffix.size() && name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0)
            found.push_back(entry.path());
    }
    return found.size() == 1 ? found.front() : std::string();
}

TableFile ReadSavedTable(const std::string& folder, const std::string& disk)
{
    const std::string path = FindSavedTable(folder, disk);
    if (path.empty())
        return {};
    try {
        return TableFile::Read(path);
    } catch (const Failure& failure) {
        Warn(std::string(failure.what()) + "; the swap areas' old identifiers are not known from there");
        return {};
    }
}

void RestoreSwapIdentities(std::vector<DiskPartition> partitions, const TableFile& saved, const Fstab& fstab)
{
    for (DiskPartition& partition : partitions) {
        if (!IsSwap(partition))
            continue;
        const Contents& contents = partition.contents;
        if (const SwapIdentity* identity = FindSaved(saved.swaps, partition.number)) {
            if (identity->uuid != contents.uuid || identity->label != contents.label)
                SetIdentity(partition, *identity, "from the image set");
        } else if (const auto asked = IdentityFromFstab(partition, partitions, fstab)) {
            SetIdentity(partition, *asked, "from /etc/fstab");
        } else if (saved.saved.empty() && fstab.entries.empty()) {
            // Sets that name their run have all identities there were.
            Warn(partition.device.path
                + ": neither the image set nor an /etc/fstab that can be read tells the swap "
                  "area's old identifier; a system that asks for it waits at its start: set it with swaplabel -U");
        }
    }
    WarnOfMissing(partitions, fstab);
}
