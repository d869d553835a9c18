// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "runentry.h"

#include "failure.h"
#include "medium.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <filesystem>
#include <sstream>

namespace {
QString Text(const std::string& text)
{
    return QString::fromStdString(Printable(text));
}

// Key and member of each text, for both directions.
constexpr std::pair<const char*, std::string RunEntry::*> texts[]
    = {{"command", &RunEntry::command}, {"part", &RunEntry::part}, {"began", &RunEntry::began},
        {"result", &RunEntry::result}, {"reason", &RunEntry::reason}, {"model", &RunEntry::model},
        {"serial", &RunEntry::serial}, {"found", &RunEntry::found}, {"sha256", &RunEntry::sha256}};

// Sizes; the numbers of JSON are exact up to 2^53.
constexpr std::pair<const char*, uint64_t RunEntry::*> sizes[]
    = {{"disk-bytes", &RunEntry::diskBytes}, {"image-bytes", &RunEntry::imageBytes}};

RunEntry EntryOf(const QJsonObject& object)
{
    RunEntry entry;
    for (const auto& [key, member] : texts)
        entry.*member = object.value(QLatin1String(key)).toString().toStdString();
    for (const auto& [key, member] : sizes) {
        const double number = object.value(QLatin1String(key)).toDouble();
        entry.*member = number >= 0 && number < 9e15 ? static_cast<uint64_t>(number) : 0;
    }
    entry.seconds = object.value(QLatin1String("seconds")).toDouble();
    const QJsonArray warnings = object.value(QLatin1String("warnings")).toArray();
    for (const auto& warning : warnings)
        entry.warnings.push_back(warning.toString().toStdString());
    const QJsonObject tools = object.value(QLatin1String("tools")).toObject();
    for (auto tool = tools.begin(); tool != tools.end(); ++tool)
        entry.tools[tool.key().toStdString()] = tool.value().toString().toStdString();
    return entry;
}
} // namespace

std::string RunEntry::Line() const
{
    QJsonObject object;
    for (const auto& [key, member] : texts) {
        if (!(this->*member).empty())
            object.insert(QLatin1String(key), Text(this->*member));
    }
    for (const auto& [key, member] : sizes) {
        if (this->*member > 0)
            object.insert(QLatin1String(key), static_cast<double>(this->*member));
    }
    if (result != "begun")
        object.insert(QLatin1String("seconds"), seconds);
    QJsonArray list;
    for (const std::string& warning : warnings)
        list.append(Text(warning));
    if (!list.isEmpty())
        object.insert(QLatin1String("warnings"), list);
    QJsonObject versions;
    for (const auto& [tool, version] : tools)
        versions.insert(Text(tool), Text(version));
    if (!versions.isEmpty())
        object.insert(QLatin1String("tools"), versions);
    return QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString() + "\n";
}

std::vector<RunEntry> RunEntry::Parse(const std::string& text)
{
    std::vector<RunEntry> entries;
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) {
        const QJsonObject object = QJsonDocument::fromJson(QByteArray::fromStdString(line)).object();
        if (!object.value(QLatin1String("command")).toString().isEmpty())
            entries.push_back(EntryOf(object));
    }
    return entries;
}

std::vector<RunEntry> RunEntry::Read(const std::string& path)
{
    constexpr size_t most = 16U << 20;
    try {
        return Parse(Medium::Read(path, most));
    } catch (const Failure&) {
        return {};
    }
}

std::string RunEntry::LaterFailure(
    const std::vector<RunEntry>& run, const std::string& part, const std::string& sha256, const std::string& saved)
{
    bool made = false;
    std::string reason;
    for (const RunEntry& entry : run) {
        const bool begins = entry.command == "norvoClonePT"; // a run
        const bool own = entry.part == part && (begins || entry.command == "norvoPartimageClone");
        if (own && entry.result == "done") {
            made = entry.sha256 == sha256;
            reason.clear();
        } else if (!entry.began.empty() && entry.began <= saved && !(own && entry.result == "failed")) {
            continue; // it made what is there, the same as before, and was ended before it could say so
        } else if (made && own) {
            reason = entry.reason.empty() ? "the saving did not end" : entry.reason;
        } else if (made && begins) {
            reason = "it did not get as far";
        }
    }
    return reason;
}

std::string RunRecordPath(const std::string& tablePath)
{
    return std::filesystem::path(tablePath).replace_extension(".run");
}
