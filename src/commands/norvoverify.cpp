// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

// norvoVerify [--deep] [--json] [--store DIR] [SERIAL [DATE]]: tells whether the image sets on the REV disk are there
// and whole. Nothing is written.

#include "command.h"
#include "failure.h"
#include "process.h"
#include "progress.h"
#include "setcheck.h"
#include "use.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

#include <getopt.h>
#include <unistd.h>

namespace {
constexpr char usage[] = "usage: norvoVerify [--deep] [--json] [--store DIR] [SERIAL [DATE]]";

// Exit statuses of this command; scripts ask it a question.
constexpr int allGood = 0;
constexpr int notAllGood = 1;
constexpr int notChecked = 2;

struct Request
{
    bool deep = false;
    bool json = false;
    std::string store = "/mnt/rev";
    std::string serial;
    std::string date;
};

Request ParseRequest(int argc, char** argv)
{
    static const option options[] = {{"deep", no_argument, nullptr, 'd'}, {"json", no_argument, nullptr, 'j'},
        {"store", required_argument, nullptr, 's'}, {nullptr, 0, nullptr, 0}};
    Request request;
    opterr = 0;
    for (int found = getopt_long(argc, argv, "+", options, nullptr); found != -1;
         found = getopt_long(argc, argv, "+", options, nullptr)) {
        if (found == 'd')
            request.deep = true;
        else if (found == 'j')
            request.json = true;
        else if (found == 's')
            request.store = optarg;
        else
            throw Failure(ExitStatus::Usage, usage);
    }
    const std::vector<std::string> names(argv + std::min(optind, argc), argv + argc);
    if (names.size() > 2 || std::count(names.begin(), names.end(), "") > 0)
        throw Failure(ExitStatus::Usage, usage);
    request.serial = names.empty() ? "" : names.front();
    request.date = names.size() < 2 ? "" : names.back();
    return request;
}

struct CheckedSet
{
    ImageSet set;
    std::vector<CheckedPart> parts;
    bool openToAll;

    /** Why it is not authentic; empty where it is. Of what isn't there nothing is said here: the set is not complete.
     */
    [[nodiscard]] std::string Unproven() const
    {
        const auto part = std::find_if(parts.begin(), parts.end(), [](const CheckedPart& each) {
            return !each.unproven.IsEmpty();
        });
        return part == parts.end() ? "" : part->unproven.Text();
    }

    [[nodiscard]] bool IsIntact() const
    {
        return Worst() <= Verdict::Unrecorded;
    }

    [[nodiscard]] bool IsAuthentic() const
    {
        return IsIntact() && Unproven().empty();
    }

    [[nodiscard]] Verdict Worst() const
    {
        Verdict worst = Verdict::Good;
        for (const CheckedPart& part : parts)
            worst = std::max(worst, part.verdict);
        return worst;
    }
};

/** On a terminal, what is being checked, until the next text takes its place. */
void ShowProgress(const std::string& text)
{
    if (isatty(STDERR_FILENO) == 0)
        return;
    const std::string line = "\r\x1b[K" + Printable(text);
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
}

std::vector<CheckedSet> CheckSets(const Request& request, const Authentication* key)
{
    std::vector<CheckedSet> checked;
    std::string current;
    Progress::Tell([&current](uint64_t done, uint64_t total) {
        if (total > 0)
            ShowProgress(current + ", " + std::to_string(done * 100 / total) + " %");
    });
    for (const ImageSet& set : FindSets(request.store, request.serial, request.date)) {
        const auto begin = [&](const std::string& part) {
            current = "checking " + set.serial + " " + set.date + ": " + part;
            ShowProgress(current);
        };
        checked.push_back({set, CheckSet(set, request.deep, begin, key), IsOpenToAll(set)});
    }
    Progress::Tell({});
    ShowProgress("");
    return checked;
}

/** As far as this machine's key tells. */
std::string AuthenticityText(const CheckedSet& checked)
{
    if (checked.IsAuthentic())
        return "authentic";
    const std::string reason = checked.Unproven();
    return (checked.IsIntact() ? "intact, not authenticated" : "not authenticated")
        + (reason.empty() ? "" : ": " + reason);
}

void PrintTable(const std::vector<CheckedSet>& sets, bool hasKey)
{
    for (const CheckedSet& checked : sets) {
        const Verdict worst = checked.Worst();
        Answer(checked.set.serial + " " + checked.set.date + ": "
            + (worst == Verdict::Good              ? "complete and good"
                    : worst == Verdict::Unrecorded ? "complete; not all of it has a record to compare it with"
                                                   : "NOT complete"));
        for (const CheckedPart& part : checked.parts) {
            std::string line = "  " + part.name;
            line.resize(std::max<size_t>(line.size() + 1, 20), ' ');
            line += Name(part.verdict);
            if (!part.remark.empty())
                line += ": " + part.remark;
            Answer(line);
        }
        if (hasKey)
            Answer("  " + AuthenticityText(checked));
        if (checked.openToAll)
            Answer(
                "  note: every user of a machine can read this set; close it with chmod -R go= " + checked.set.folder);
    }
}

QString Text(const std::string& text)
{
    return QString::fromStdString(Printable(text));
}

void PrintJson(const std::vector<CheckedSet>& sets, bool hasKey)
{
    QJsonArray list;
    for (const CheckedSet& checked : sets) {
        QJsonArray parts;
        for (const CheckedPart& part : checked.parts) {
            parts.append(QJsonObject{{QStringLiteral("name"), Text(part.name)},
                {QStringLiteral("verdict"), Text(Name(part.verdict))}, {QStringLiteral("remark"), Text(part.remark)}});
        }
        QJsonObject object{{QStringLiteral("serial"), Text(checked.set.serial)},
            {QStringLiteral("date"), Text(checked.set.date)}, {QStringLiteral("verdict"), Text(Name(checked.Worst()))},
            {QStringLiteral("open-to-all"), checked.openToAll}, {QStringLiteral("parts"), parts}};
        if (hasKey) {
            object.insert(QStringLiteral("authentic"), checked.IsAuthentic());
            object.insert(QStringLiteral("not-authenticated"), Text(checked.Unproven()));
        }
        list.append(object);
    }
    const QJsonDocument document(QJsonObject{{QStringLiteral("sets"), list}});
    const QByteArray text = document.toJson(QJsonDocument::Compact);
    Answer(text.toStdString());
}

int Verify(int argc, char** argv)
{
    const Request request = ParseRequest(argc, argv);
    NeedCommands({"lbzip2", "partclone.chkimg"});
    NeedRevDisk(request.store);
    NeedFolder(request.store);
    const auto key = Authentication::Read();
    const std::vector<CheckedSet> sets = CheckSets(request, key ? &*key : nullptr);
    if (sets.empty() && !request.serial.empty())
        throw Failure(
            ExitStatus::Missing, request.store + " has no image set of " + request.serial + " " + request.date);
    if (request.json)
        PrintJson(sets, key.has_value());
    else if (sets.empty())
        Answer(request.store + " has no image sets");
    else
        PrintTable(sets, key.has_value());
    const bool good = !sets.empty() && std::all_of(sets.begin(), sets.end(), [&key](const CheckedSet& checked) {
        return key && key->IsRequired() ? checked.IsAuthentic() : checked.IsIntact();
    });
    return good ? allGood : notAllGood;
}
} // namespace

int main(int argc, char** argv)
{
    const int status = RunFrame(argc, argv, [argc, argv] {
        return Verify(argc, argv);
    });
    return status <= notAllGood || status > 128 ? status : notChecked;
}
