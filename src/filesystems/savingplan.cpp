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
    SpaceAccount (*account)(const VolumeReader& volume); ///< null where there is none yet
};

/** By the names that libblkid has for them. */
const std::map<std::string, Kind> kinds = {
    {"ext2", {"extfs", JudgeExt, nullptr}},
    {"ext3", {"extfs", JudgeExt, nullptr}},
    {"ext4", {"extfs", JudgeExt, nullptr}},
    {"xfs", {"xfs", JudgeXfs, nullptr}},
    {"btrfs", {"btrfs", JudgeBtrfs, nullptr}},
    {"f2fs", {"f2fs", JudgeF2fs, nullptr}},
    {"ntfs", {"ntfs", JudgeNtfs, nullptr}},
    {"vfat", {"fat", JudgeFat, nullptr}},
    {"exfat", {"exfat", JudgeExfat, nullptr}},
    {"hfsplus", {"hfsplus", JudgeHfsPlus, nullptr}},
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
    const std::string reason = WhyAllBlocks(device, type);
    if (reason.empty()) {
        plan.variant = kinds.at(type).variant;
        plan.account = kinds.at(type).account;
    } else {
        plan.state = reason + ", all blocks";
    }
    return plan;
}
