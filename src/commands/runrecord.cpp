// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "runrecord.h"

#include "failure.h"
#include "identity.h"
#include "medium.h"
#include "process.h"
#include "progress.h"
#include "reporter.h"
#include "runentry.h"
#include "storefile.h"

#include <algorithm>
#include <chrono>
#include <filesystem>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace {
using Clock = std::chrono::steady_clock;

RunEntry entry;
Reporter reporter;
std::string path; ///< of the record; empty as long as no entry was begun
Clock::time_point begun;

/** The first line that the tool prints about itself. */
std::string VersionOf(const std::string& tool)
{
    std::string said;
    const bool partclone = tool.compare(0, 9, "partclone") == 0;
    const StageEnd end = RunProgram({tool, partclone ? "-v" : "--version"}, &said);
    const std::string text = said.empty() ? end.said : said;
    return text.substr(0, text.find('\n'));
}

/** Whether a later entry tells how this attempt ended. */
bool IsSuperseded(const std::vector<RunEntry>& entries, const RunEntry& begun)
{
    return begun.result == "begun" && std::any_of(entries.begin(), entries.end(), [&begun](const RunEntry& other) {
        return other.result != "begun" && other.command == begun.command && other.part == begun.part
            && other.began == begun.began;
    });
}

/** Without room for another file: in the place of the old one, and shorter: what each attempt came to, and no more. */
void WriteInPlace(const std::vector<RunEntry>& entries)
{
    std::string text;
    for (const RunEntry& whole : entries) {
        RunEntry brief;
        brief.command = whole.command;
        brief.part = whole.part;
        brief.began = whole.began;
        brief.result = whole.result;
        brief.reason = whole.reason.substr(0, 200);
        brief.sha256 = whole.sha256;
        if (!IsSuperseded(entries, whole))
            text += brief.Line();
    }
    const Descriptor file = Medium::OpenFile(path, O_WRONLY);
    if (file && WriteAll(file.Get(), text.data(), text.size())
        && ftruncate(file.Get(), static_cast<off_t>(text.size())) == 0)
        fsync(file.Get());
}

/** The record is written anew beside the old one: after a power cut there is the one or the other, whole. */
void Append()
{
    const Descriptor lock = Medium::OpenFolder(std::filesystem::path(path).parent_path());
    if (!lock || flock(lock.Get(), LOCK_EX) != 0)
        return;
    std::vector<RunEntry> entries = RunEntry::Read(path);
    entries.push_back(entry);
    std::string text;
    for (const RunEntry& each : entries)
        text += each.Line();
    try {
        StoreFile file(path + ".new");
        file.Write(text.data(), text.size());
        file.Prove();
        file.PutInPlace(path);
    } catch (const NoRoom&) {
        WriteInPlace(entries);
    }
}

/** What is written of the run must not end the run. */
void TryToAppend()
{
    try {
        Append();
    } catch (const std::exception&) {
        // A medium that is full or failing: the work itself tells, if it matters.
    }
}
} // namespace

void RunRecord::Expect(const std::string& part)
{
    entry.part = part;
    entry.began = TimeStamp();
}

void RunRecord::Enter(const std::string& phase)
{
    reporter.Enter(phase);
}

void RunRecord::Begin(
    const std::string& tablePath, const Device& disk, const std::string& part, const std::vector<std::string>& tools)
{
    if (!Medium::OpenFolder(std::filesystem::path(tablePath).parent_path()))
        return;
    path = RunRecordPath(tablePath);
    begun = Clock::now();
    entry.command = CommandName();
    entry.part = part;
    entry.began = TimeStamp();
    entry.result = "begun";
    const Identity identity = Identity::Of(disk.number);
    entry.model = identity.model;
    entry.serial = identity.serial;
    entry.diskBytes = disk.bytes;
    reporter.Begin(tablePath, entry.Line());
    Progress::Tell([](uint64_t done, uint64_t total) {
        reporter.Progress(done, total);
    });
    for (const std::string& tool : tools)
        entry.tools[tool] = VersionOf(tool);
    TryToAppend();
}

void RunRecord::Note(const ImageRecord& record)
{
    entry.found = record.content;
    entry.imageBytes = record.bytes;
    entry.sha256 = record.sha256;
}

void RunRecord::NoteTable(const std::string& seal)
{
    entry.sha256 = seal;
}

void RunRecord::End(const std::string& reason)
{
    if (entry.part.empty())
        return;
    entry.command = CommandName();
    entry.result = reason.empty() ? "done" : "failed";
    entry.reason = reason;
    entry.warnings = Warnings();
    if (!path.empty()) {
        entry.seconds = std::chrono::duration<double>(Clock::now() - begun).count();
        TryToAppend();
    }
    reporter.End(entry.Line());
    path.clear();
    entry.part.clear();
}
