// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "room.h"

#include "failure.h"
#include "imagerecord.h"
#include "medium.h"

#include <algorithm>
#include <filesystem>

namespace {
/** The size of the image that is being written for this step; 0 where there is none yet. */
uint64_t UnfinishedBytes(const RunState& run, const Step& step)
{
    const std::filesystem::path table = run.TablePath();
    const std::string stem = table.stem(); // SERIAL_DATE_hdc
    const std::string base = stem.substr(0, stem.rfind('_') + 1) + step.name + ".bz2";
    try {
        return Medium::FileBytes(ImageFiles(table.parent_path(), step.name, base).NewImage());
    } catch (const Failure&) {
        return 0;
    }
}
} // namespace

std::optional<uint64_t> EstimateNeed(const RunState& run, uint64_t written)
{
    constexpr double enough = 16e6; // bytes of data that say something of how the rest shrinks
    const Step* current = run.Heard();
    if (current == nullptr || current->phase.empty()) // how full its partition is isn't known yet
        return {};
    const bool isWriting = current->phase == "write";
    double saved = 0, images = 0, data = 0, sizes = 0;
    for (const Step& step : run.Steps()) {
        const bool isCurrent = &step == current && isWriting;
        if (step.dataBytes == 0 || (!isCurrent && step.imageBytes == 0))
            continue;
        saved += static_cast<double>(isCurrent ? step.done : step.dataBytes);
        images += static_cast<double>(isCurrent ? written : step.imageBytes);
        data += static_cast<double>(step.dataBytes);
        sizes += static_cast<double>(step.bytes);
    }
    if (saved < enough || sizes <= 0)
        return {};
    const double shrunk = images / saved;
    double need = isWriting ? static_cast<double>(current->total - std::min(current->done, current->total)) : 0;
    for (const Step& step : run.Steps()) {
        TableLine line;
        line.type = step.type;
        if (step.state == Step::State::Waiting && !line.IsExtended())
            need += static_cast<double>(step.bytes) * std::min(1.0, data / sizes);
    }
    return static_cast<uint64_t>(need * shrunk);
}

Room LookAtRoom(const RunState& run)
{
    Room room;
    std::error_code error;
    const std::filesystem::space_info space
        = std::filesystem::space(std::filesystem::path(run.TablePath()).parent_path(), error);
    if (!error)
        room.left = space.available;
    const Step* current = run.Heard();
    if (run.IsClone() && current != nullptr)
        room.needed = EstimateNeed(run, UnfinishedBytes(run, *current));
    return room;
}
