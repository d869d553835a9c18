// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "runstate.h"

#include "failure.h"
#include "medium.h"
#include "role.h"

#include <KLocalizedString>

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <filesystem>
#include <set>

namespace {
uint64_t Number(const QJsonObject& object, const char* key)
{
    const double number = object.value(QLatin1String(key)).toDouble();
    return number >= 0 && number < 9e15 ? static_cast<uint64_t>(number) : 0;
}

/** The boot sector, which dd saves without telling how that went, is there and that of the table's run. */
bool HasBootSector(const std::string& tablePath)
{
    try {
        const std::string bytes = Medium::Read(std::filesystem::path(tablePath).replace_extension(".mbr"), 512);
        return bytes.size() == 512 && !TableFile::Read(tablePath).IsOtherBootSector(bytes);
    } catch (const Failure&) {
        return false;
    }
}
} // namespace

void RunState::Take(int connection, const std::string& line, int64_t now)
{
    const QJsonObject object = QJsonDocument::fromJson(QByteArray::fromStdString(line)).object();
    if (const std::optional<RunPlan> next = RunPlan::Parse(line)) {
        Announce(*next, connection, now);
    } else if (RunPlan::IsOverLine(line)) {
        if (program == Program::Running && connection == programsLine)
            program = Program::Over;
    } else if (object.contains(QLatin1String("table"))) {
        tables[connection] = object.value(QLatin1String("table")).toString().toStdString();
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

/** A run of the program: a new one, or that of which its commands have told already. */
void RunState::Announce(const RunPlan& next, int connection, int64_t now)
{
    const bool isSameSet = !steps.empty() && isClone == next.isClone && tablePath == next.table;
    const bool isKnown = program == Program::Unknown ? firstBegan >= next.began : plan.began == next.began;
    if (!isSameSet || !isKnown || program == Program::Over)
        Clear(next.isClone, next.table, next.Disk(), next.began, now);
    program = Program::Running;
    programsLine = connection;
    plan = next;
    tables[connection] = next.table;
    lastWord = now;
    if (!isClone)
        LoadTable();
    FollowPlan();
}

/** What is to be written in a restore; what a clone has to save is all that its table has. */
void RunState::FollowPlan()
{
    if (program == Program::Unknown || isClone || !plan.parts)
        return;
    std::set<std::string> meant(plan.parts->begin(), plan.parts->end());
    meant.insert(plan.swap.begin(), plan.swap.end());
    for (const std::string& name : meant)
        Find(Step::Kind::Partition, name);
    if (plan.bootLoader)
        Find(Step::Kind::BootLoader, plan.Disk());
    for (Step& step : steps) {
        const bool isOpen = step.state == Step::State::Waiting || step.state == Step::State::LeftOut;
        if (isOpen && step.kind == Step::Kind::Partition)
            step.state = meant.count(step.name) > 0 ? Step::State::Waiting : Step::State::LeftOut;
    }
}

void RunState::Apply(const RunEntry& entry, int connection, int64_t now)
{
    const Role* role = Role::Of(entry.command);
    if (role == nullptr || entry.part.empty()
        || (entry.result != "begun" && entry.result != "done" && entry.result != "failed"))
        return;
    const auto greeting = tables.find(connection);
    const std::string table = greeting == tables.end() ? tablePath : greeting->second;
    const bool isSameSet = !steps.empty() && role->isClone == isClone && table == tablePath;
    const bool begins = entry.result == "begun" && speakers.count(connection) == 0;
    // The first command of the program's run may be heard after the program is gone.
    const bool isNews
        = role->isHead && begins && entry.began != headBegan && (program != Program::Gone || !headBegan.empty());
    if (program == Program::Running && !isSameSet)
        return; // somebody does something else by hand
    if (program != Program::Running && (!isSameSet || isNews || (program == Program::Over && begins))) {
        std::string diskName = entry.part;
        unsigned number = 0;
        if (role->kind == Step::Kind::Partition)
            SplitName(entry.part, diskName, number);
        Clear(role->isClone, table, diskName, entry.began, now);
        if (!role->isHead && !isClone)
            steps.front().state = Step::State::LeftOut;
    }
    if (role->isHead)
        headBegan = entry.began;
    if (Step* step = Note(entry)) {
        speakers[connection] = {step->kind, step->name};
        step->isHeard = !step->HasEnded();
    }
    lastWord = now;
}

/** What an entry says of its step; a null pointer where the run has none for it. */
Step* RunState::Note(const RunEntry& entry)
{
    const Role& role = *Role::Of(entry.command);
    if (entry.diskBytes > 0)
        disk = entry;
    if (!isClone || !role.isHead || entry.result == "done") // a clone run writes it anew
        LoadTable();
    // The program has an image made of each empty slot of the table too, which fails and is nothing to miss.
    if (isClone && role.kind == Step::Kind::Partition && tableRead && !Has(entry.part))
        return nullptr;
    Step& step = Find(role.kind, entry.part);
    if (entry.began < step.began || (entry.began == step.began && step.HasEnded() && !step.isCut))
        return &step;
    step.isCut = false;
    step.began = entry.began;
    step.content = entry.found.empty() ? step.content : entry.found;
    step.reason = entry.reason;
    step.warnings = entry.warnings;
    step.imageBytes = entry.imageBytes;
    step.state = entry.result == "begun" ? Step::State::Running
        : entry.result == "failed"       ? Step::State::Failed
        : entry.warnings.empty()         ? Step::State::Done
                                         : Step::State::Warned;
    if (role.isHead && isClone && entry.result == "done" && !HasBootSector(tablePath)) {
        step.state = Step::State::Failed;
        step.reason = i18n("the boot sector was not saved").toStdString();
    }
    return &step;
}

/** Nothing is known of a run but that it has begun. */
void RunState::Clear(
    bool clone, const std::string& table, const std::string& diskName, const std::string& began, int64_t now)
{
    steps.clear();
    speakers.clear();
    program = Program::Unknown;
    lostIn = {};
    isClone = clone;
    disk = {};
    tablePath = table;
    firstBegan = began;
    headBegan.clear();
    tableRead = false;
    begin = lastWord = now;
    Find(Step::Kind::Table, diskName);
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
        FollowPlan();
    } catch (const Failure&) {
        // The command that needs it says what is wrong with it.
    }
}

void RunState::Close(int connection, int64_t now)
{
    if (connection == programsLine && program == Program::Running) {
        program = Program::Gone;
        if (const Step* step = Heard())
            lostIn = {step->kind, step->name};
    }
    tables.erase(connection);
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
    step.isCut = true;
    step.reason = i18n("it was ended before its work was done").toStdString();
}

void RunState::LookUp()
{
    // What an earlier restore run did says nothing of a partition that is restored by hand; images of before are there.
    if (steps.empty() || tablePath.empty() || (!isClone && headBegan.empty() && program == Program::Unknown))
        return;
    const std::vector<RunEntry> entries = RunEntry::Read(RunRecordPath(tablePath));
    const auto isHead = [this](const RunEntry& entry) {
        const Role* role = Role::Of(entry.command);
        return role != nullptr && role->isHead && role->isClone == isClone && entry.result == "begun";
    };
    const auto head = std::find_if(entries.rbegin(), entries.rend(), isHead);
    // A medium that was full has the run before as the last one.
    if (head == entries.rend() || (!headBegan.empty() && head->began != headBegan)
        || (program != Program::Unknown && head->began < plan.began))
        return;
    headBegan = head->began;
    for (auto entry = head.base() - 1; entry != entries.end(); ++entry) {
        const Role* role = Role::Of(entry->command);
        if (role != nullptr && role->isClone == isClone && entry->began >= headBegan && !entry->part.empty())
            Note(*entry);
    }
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
