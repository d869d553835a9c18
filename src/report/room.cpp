// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "room.h"

#include "failure.h"
#include "imagerecord.h"

#include <algorithm>
#include <filesystem>

namespace {
/** The size of the image that is being written for this step; 0 where there is none yet. */
uint64_t UnfinishedBytes(const RunState& run, const Step& step)
{
    const std::filesystem::path table = run.TablePath();
    const std::string stem = table.stem(); // SERIAL_DATE_hdc
    const std::string base = stem.substr(0, stem.rfind('_') + 1) + step.name + ".bz2";
    std::error_code error;
    try {
        const uintmax_t size
            = std::filesystem::file_size(ImageFiles(table.parent_path(), step.name, base).NewImage(), error);
        return error ? 0 : size;
    } catch (const Failure&) {
        return 0;
    }
}
} // namespace

uint64_t EstimateNeed(const RunState& run, uint64_t written)
{
    constexpr double enough = 16e6; // bytes of data that say something of how the rest shrinks
    const Step* current = run.Heard();
    if (current == nullptr || current->phase != "write" || static_cast<double>(current->done) < enough
        || current->bytes == 0)
        return 0;
    const auto total = static_cast<double>(current->total);
    const double shrunk = static_cast<double>(written) / static_cast<double>(current->done);
    const double full = std::min(1.0, total / static_cast<double>(current->bytes));
    double need = (total - static_cast<double>(current->done)) * shrunk;
    for (const Step& step : run.Steps()) {
        TableLine line;
        line.type = step.type;
        if (step.state == Step::State::Waiting && !line.IsExtended())
            need += static_cast<double>(step.bytes) * full * shrunk;
    }
    return static_cast<uint64_t>(std::max(0.0, need));
}

Room LookAtRoom(const RunState& run)
{
    Room room;
    std::error_code error;
    const std::filesystem::space_info space
        = std::filesystem::space(std::filesystem::path(run.TablePath()).parent_path(), error);
    room.left = error ? 0 : space.available;
    const Step* current = run.Heard();
    room.needed = run.IsClone() && current != nullptr ? EstimateNeed(run, UnfinishedBytes(run, *current)) : 0;
    return room;
}
