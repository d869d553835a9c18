// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "runstate.h"

#include "descriptor.h"
#include "failure.h"

#include <KLocalizedString>

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <filesystem>

namespace {
// Which step and which kind of run each command belongs to.
struct Role
{
    const char* command;
    Step::Kind kind;
    bool isClone;
    bool isHead; ///< a run begins with it
};
constexpr Role roles[] = {{"norvoClonePT", Step::Kind::Table, true, true},
    {"norvoPartimageClone", Step::Kind::Partition, true, false}, {"norvoRestorePT", Step::Kind::Table, false, true},
    {"norvoPartimageRestore", Step::Kind::Partition, false, false},
    {"norvoRestoreGrub", Step::Kind::BootLoader, false, false}};

const Role* RoleOf(const std::string& command)
{
    const auto* role = std::find_if(std::begin(roles), std::end(roles), [&command](const Role& each) {
        return command == each.command;
    });
    return role == std::end(roles) ? nullptr : role;
}

uint64_t Number(const QJsonObject& object, const char* key)
{
    const double number = object.value(QLatin1String(key)).toDouble();
    return number >= 0 && number < 9e15 ? static_cast<uint64_t>(number) : 0;
}

/** The boot sector, which dd saves without telling how that went, is there and that of the table's run. */
bool HasBootSector(const std::string& tablePath)
{
    try {
        const std::string bytes = ReadFile(std::filesystem::path(tablePath).replace_extension(".mbr"), 512);
        return bytes.size() == 512 && !TableFile::Read(tablePath).IsOtherBootSector(bytes);
    } catch (const Failure&) {
        return false;
    }
}
} // namespace

void RunState::Take(int connection, const std::string& line, int64_t now)
{
    const QJsonObject object = QJsonDocument::fromJson(QByteArray::fromStdString(line)).object();
    if (object.contains(QLatin1String("table"))) {
        Greet(object.value(QLatin1String("table")).toString().toStdString(),
            object.value(QLatin1String("caller")).toInt());
    } else if (object.contains(QLatin1String("command"))) {
        for (const RunEntry& entry : RunEntry::Parse(line))
            Apply(entry, connection, now);
    } else if (const auto speaker = speakers.find(connection);
               speaker != speakers.end() && object.contains(QLatin1String("phase"))) {
        Find(speaker->second.first, speaker->second.second)
            .Advance(object.value(QLatin1String("phase")).toString().toStdString(), Number(object, "done"),
                Number(object, "total"), now);
        lastWord = now;
    }
}

void RunState::Greet(const std::string& path, int pid)
{
    greeted = path;
    caller = pid;
}

void RunState::Apply(const RunEntry& entry, int connection, int64_t now)
{
    const Role* role = RoleOf(entry.command);
    if (role == nullptr || entry.part.empty()
        || (entry.result != "begun" && entry.result != "done" && entry.result != "failed"))
        return;
    const bool isNews = role->isHead && entry.result == "begun" && entry.began != firstBegan;
    if (steps.empty() || isNews || role->isClone != isClone || greeted != tablePath)
        Clear(role->isClone, entry, now);
    sawHead = sawHead || role->isHead;
    if (entry.diskBytes > 0)
        disk = entry;
    if (!isClone || !role->isHead || entry.result == "done") // a clone run writes it anew
        LoadTable();
    // The program has an image made of each empty slot of the table too, which fails and is nothing to miss.
    if (isClone && role->kind == Step::Kind::Partition && tableRead && !Has(entry.part))
        return;
    Step& step = Find(role->kind, entry.part);
    if (entry.began < step.began || (entry.began == step.began && step.HasEnded()))
        return;
    step.began = entry.began;
    step.content = entry.found.empty() ? step.content : entry.found;
    step.reason = entry.reason;
    step.warnings = entry.warnings;
    step.imageBytes = entry.imageBytes;
    step.state = entry.result == "begun" ? Step::State::Running
        : entry.result == "failed"       ? Step::State::Failed
        : entry.warnings.empty()         ? Step::State::Done
                                         : Step::State::Warned;
    if (role->isHead && isClone && entry.result == "done" && !HasBootSector(tablePath)) {
        step.state = Step::State::Failed;
        step.reason = i18n("the boot sector was not saved").toStdString();
    }
    if (connection >= 0) {
        speakers[connection] = {role->kind, entry.part};
        step.isHeard = !step.HasEnded();
        lastWord = now;
    }
    LeaveOutSkipped(step);
}

void RunState::Clear(bool clone, const RunEntry& first, int64_t now)
{
    steps.clear();
    speakers.clear();
    isClone = clone;
    disk = {};
    tablePath = greeted;
    firstBegan = first.began;
    sawHead = false;
    tableRead = false;
    begin = lastWord = now;
    std::string diskName = first.part;
    unsigned number = 0;
    if (RoleOf(first.command)->kind == Step::Kind::Partition)
        SplitName(first.part, diskName, number);
    Step& table = Find(Step::Kind::Table, diskName);
    if (!clone && first.command != "norvoRestorePT") // by hand
        table.state = Step::State::LeftOut;
}

/** The step, added at the end where it is new. */
Step& RunState::Find(Step::Kind kind, const std::string& name)
{
    const auto found = std::find_if(steps.begin(), steps.end(), [kind, &name](const Step& step) {
        return step.kind == kind && step.name == name;
    });
    if (found != steps.end())
        return *found;
    Step step;
    step.kind = kind;
    step.name = name;
    steps.push_back(step);
    return steps.back();
}

bool RunState::Has(const std::string& partition) const
{
    return std::any_of(steps.begin(), steps.end(), [&partition](const Step& step) {
        return step.kind == Step::Kind::Partition && step.name == partition;
    });
}

/** The partitions of the run, as soon as the set has its table. */
void RunState::LoadTable()
{
    if (tableRead || tablePath.empty())
        return;
    try {
        const TableFile table = TableFile::Read(tablePath);
        for (const TableLine& line : table.lines) {
            if (line.size == 0)
                continue;
            Step& step = Find(Step::Kind::Partition, PartitionName(table.disk, line.number));
            step.type = line.type;
            step.bytes = line.size * table.sectorBytes;
            if (line.IsSwap() && step.state == Step::State::Waiting)
                step.state = Step::State::LeftOut;
        }
        tableRead = true;
    } catch (const Failure&) {
        // The command that needs it says what is wrong with it.
    }
}

/** The steps of a restore run follow one another in the order of the table: what is passed over was not chosen. */
void RunState::LeaveOutSkipped(const Step& current)
{
    if (isClone)
        return;
    for (Step& step : steps) {
        if (&step == &current)
            return;
        if (step.kind == Step::Kind::Partition && step.state == Step::State::Waiting)
            step.state = Step::State::LeftOut;
    }
}

void RunState::Close(int connection, int64_t now)
{
    const auto speaker = speakers.find(connection);
    if (speaker == speakers.end())
        return;
    Step& step = Find(speaker->second.first, speaker->second.second);
    speakers.erase(speaker);
    lastWord = now;
    step.isHeard = false;
    if (step.HasEnded())
        return;
    step.state = Step::State::Failed;
    step.reason = i18n("it was ended before its work was done").toStdString();
}

void RunState::LookUp()
{
    // What an earlier restore run did says nothing of a partition that is restored by hand; images of before are there.
    if (steps.empty() || tablePath.empty() || (!isClone && !sawHead))
        return;
    const std::vector<RunEntry> entries = RunEntry::Read(RunRecordPath(tablePath));
    const auto isHead = [this](const RunEntry& entry) {
        const Role* role = RoleOf(entry.command);
        return role != nullptr && role->isHead && role->isClone == isClone && entry.result == "begun";
    };
    const auto head = std::find_if(entries.rbegin(), entries.rend(), isHead);
    if (head == entries.rend())
        return;
    // A medium that was full has the run before as the last one.
    const std::string earliest = sawHead ? std::max(firstBegan, head->began) : head->began;
    if (!sawHead)
        firstBegan = head->began;
    for (auto entry = head.base() - 1; entry != entries.end(); ++entry) {
        const Role* role = RoleOf(entry->command);
        if (role != nullptr && role->isClone == isClone && entry->began >= earliest) {
            greeted = tablePath;
            Apply(*entry, -1, lastWord);
        }
    }
}

std::optional<Outcome> RunState::Judge(bool isOver) const
{
    Outcome outcome;
    bool goesOn = steps.empty(), hasBootLoader = false;
    for (const Step& step : steps) {
        const bool isPartition = step.kind == Step::Kind::Partition;
        const bool isDone = step.state == Step::State::Done || step.state == Step::State::Warned;
        const bool isLeftOut
            = step.state == Step::State::LeftOut || (!isClone && step.state == Step::State::Waiting && isPartition);
        goesOn = goesOn || step.isHeard || (!step.HasEnded() && !isLeftOut);
        hasBootLoader = hasBootLoader || step.kind == Step::Kind::BootLoader;
        outcome.needed += isPartition && !isLeftOut ? 1 : 0;
        outcome.proved += isPartition && isDone ? 1 : 0;
        outcome.warned += step.state == Step::State::Warned ? 1 : 0;
        if (!isDone && !isLeftOut)
            outcome.faults.push_back(step);
    }
    // The table of a clone tells what has to follow; of a restore only the boot loader is known to come last.
    goesOn = goesOn || (isClone ? !tableRead : !hasBootLoader);
    if (Heard() != nullptr || steps.empty() || (goesOn && !isOver))
        return {};
    outcome.good = outcome.faults.empty() && tableRead;
    return outcome;
}

const Step* RunState::Heard() const
{
    const auto heard = std::find_if(steps.begin(), steps.end(), [](const Step& step) {
        return step.isHeard;
    });
    return heard == steps.end() ? nullptr : &*heard;
}

bool RunState::HasUnheard() const
{
    return std::any_of(steps.begin(), steps.end(), [](const Step& step) {
        return step.state == Step::State::Running && !step.isHeard;
    });
}

bool RunState::IsNearEnd() const
{
    const auto last = std::find_if(steps.rbegin(), steps.rend(), [](const Step& step) {
        return step.kind == Step::Kind::Partition && step.state != Step::State::LeftOut;
    });
    return !isClone && last != steps.rend() && last->HasEnded();
}

double RunState::Fraction() const
{
    double done = 0, all = 0;
    for (const Step& step : steps) {
        if (step.kind != Step::Kind::Partition || step.state == Step::State::LeftOut)
            continue;
        const auto bytes = static_cast<double>(step.bytes);
        done += bytes * step.FractionInRun(isClone);
        all += bytes;
    }
    return all > 0 ? done / all : 0;
}
