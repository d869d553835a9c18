// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "role.h"

#include <algorithm>
#include <iterator>

namespace {
constexpr Role roles[] = {{"norvoClonePT", Step::Kind::Table, true, true},
    {"norvoPartimageClone", Step::Kind::Partition, true, false}, {"norvoRestorePT", Step::Kind::Table, false, true},
    {"norvoPartimageRestore", Step::Kind::Partition, false, false},
    {"norvoRestoreGrub", Step::Kind::BootLoader, false, false}, {"mkswap", Step::Kind::Partition, false, false}};
} // namespace

const Role* Role::Of(const std::string& command)
{
    const auto* role = std::find_if(std::begin(roles), std::end(roles), [&command](const Role& each) {
        return command == each.command;
    });
    return role == std::end(roles) ? nullptr : role;
}
