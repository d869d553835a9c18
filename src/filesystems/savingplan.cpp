// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "savingplan.h"

#include "judges.h"
#include "process.h"

#include <map>

namespace {
/** What has to be known of a kind of file system. */
struct Kind
{
    const char* variant; ///< of partclone
    std::string (*judge)(const Device& device);
    SpaceAccount (*account)(const VolumeReader& volume) = nullptr;     ///< null where there is none yet
    std::vector<Twins> (*twins)(const VolumeReader& volume) = nullptr; ///< null where nothing is kept twice
};

/** By the names that libblkid has for them. */
const std::map<std::string, Kind> kinds = {
    {"ext2", {"extfs", JudgeExt, AccountOfExt}},
    {"ext3", {"extfs", JudgeExt, AccountOfExt}},
    {"ext4", {"extfs", JudgeExt, AccountOfExt}},
    {"xfs", {"xfs", JudgeXfs, AccountOfXfs}},
    {"btrfs", {"btrfs", JudgeBtrfs, AccountOfBtrfs}},
    {"f2fs", {"f2fs", JudgeF2fs}},
    {"ntfs", {"ntfs", JudgeNtfs, AccountOfNtfs}},
    {"vfat", {"fat", JudgeFat, AccountOfFat, TwinsOfFat}},
    {"exfat", {"exfat", JudgeExfat, AccountOfExfat}},
    {"hfsplus", {"hfsplus", JudgeHfsPlus, AccountOfHfsPlus}},
};

std::string WhyAllBlocks(const Device& device, const std::string& type)
{
    const auto kind = kinds.find(type);
    if (kind == kinds.end())
        return type == "unknown" ? "unknown content" : "partclone does not know " + type;
    if (!HasCommand(std::string("partclone.") + kind->second.variant))
        return std::string("partclone.") + kind->second.variant + " is not installed";
    return kind->second.judge(device);
}
} // namespace

SavingPlan PlanSaving(const Device& device, const std::string& type)
{
    SavingPlan plan;
    const auto kind = kinds.find(type);
    if (kind != kinds.end()) {
        plan.account = kind->second.account;
        plan.twins = kind->second.twins;
    }
    const std::string reason = WhyAllBlocks(device, type);
    if (reason.empty())
        plan.variant = kind->second.variant;
    else
        plan.state = reason + ", all blocks";
    return plan;
}

std::vector<Twins> SavingPlan::FindTwins(const Device& device) const
{
    try {
        return twins != nullptr ? twins(VolumeReader(device.path)) : std::vector<Twins>();
    } catch (const NoAccount&) {
        return {};
    }
}
