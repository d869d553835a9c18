// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

// All that reads bytes of others; fuzz/run gives the name of one target. What is required stands in the call stack.

#include "clone.h"
#include "failure.h"
#include "fstab.h"
#include "imageheader.h"
#include "imagerecord.h"
#include "restore.h"
#include "revmanager.h"
#include "runentry.h"
#include "sha256.h"
#include "utility.h"
#include "words.h"

#include <QApplication>

#include <map>
#include <sstream>
#include <sys/mman.h>
#include <unistd.h>

namespace {
void Require(bool holds)
{
    if (!holds)
        std::abort();
}

/** What is written of a text that was read is read as the same; `Rewrite` reads and writes. */
template <std::string (*Rewrite)(const std::string&)> void Stable(const std::string& text)
{
    std::string written;
    try {
        written = Rewrite(text);
    } catch (const Failure&) {
        return;
    }
    Require(Rewrite(written) == written);
}

template <class File> std::string Rewritten(const std::string& text)
{
    return File::Parse(text, "x").Text();
}

void Table(const std::string& text)
{
    Stable<Rewritten<TableFile>>(text);
    const std::string body = text.substr(0, text.rfind("# complete: ")) + "\n"; // for a seal that fits
    Stable<Rewritten<TableFile>>(body + "# complete: sha256 " + Sha256Of(body) + "\n");
}

std::string Run(const std::string& text)
{
    std::string lines;
    for (const RunEntry& entry : RunEntry::Parse(text))
        lines += entry.Line();
    return lines;
}

std::string MountTable(const std::string& text)
{
    return KeptLines(text, "/dev/hdb");
}

void Line(const std::string& text)
{
    static Clone clone(nullptr, "Clone", Qt::Window);
    static Restore restore(nullptr, "Restore", Qt::Window);
    QStringList names;
    partitionData data;
    clone.ParsePartitionLine(QString::fromStdString(text), names);
    restore.ParsePartitionLine(QString::fromStdString(text), data);
    Require(
        names.isEmpty() ? text.rfind('/', 0) != 0 || data.type == QLatin1String("82") : names.last() == data.partition);
}

void Header(const std::string& text)
{
    const auto header = ImageHeader::Parse(text);
    Require(!header || header->DataOffset() > header->blocks / 8);
    Require(!header || header->DataBytes() / header->blockBytes == header->usedBlocks);
}

void Usage(const std::string& text)
{
    static RevManager manager(nullptr, "RevManager", Qt::Window);
    manager.ReadUsage(QString::fromStdString(text));
}

void FileSystems(const std::string& text)
{
    static const int file = memfd_create("fstab", 0);
    Require(ftruncate(file, 0) == 0 && pwrite(file, text.data(), text.size(), 0) == ssize_t(text.size()));
    const Fstab fstab = Fstab::Read("/proc/self/fd/" + std::to_string(file));
    Require(fstab.RootSubvolume() != "/");
    for (const FstabEntry& entry : fstab.entries)
        Require(fstab.Find(entry, {}) == nullptr);
}

void Chunks(const std::string& text)
{
    const QByteArray bytes = QByteArray::fromStdString(text);
    Utf8Chunks chunks;
    QString parts;
    // Each one's length is in the last bits of its first byte.
    for (int size = 0, begin = 0; begin < bytes.size(); begin += size)
        parts += chunks.Decode(bytes.mid(begin, size = 1 + (bytes[begin] & 7)));
    Require(bytes.contains('\0') || parts + chunks.Rest() == QString::fromUtf8(bytes));
}

/** Three commands on the socket, each line from that in its first byte's last bits; the fourth ends its connection. */
void Socket(const std::string& text)
{
    RunState run;
    std::istringstream lines(text);
    std::string line;
    for (int64_t now = 0; std::getline(lines, line); now += 500) {
        const int connection = line.empty() ? 0 : line[0] & 3;
        if (connection == 3)
            run.Close(static_cast<int>(line.size() % 3), now);
        else
            run.Take(connection, line.substr(std::min<size_t>(line.size(), 1)), now);
        Require(run.Fraction() >= 0 && run.Fraction() <= 1);
    }
    for (const Step& step : run.Steps()) {
        Words::Details(step, run.IsClone());
        Require(!Words::State(step).isEmpty());
    }
    const auto outcome = run.Judge(true);
    if (!outcome)
        return;
    const QString said = Words::Headline(*outcome, run.IsClone());
    Words::Advice(run, *outcome);
    Require(!outcome->good || (outcome->proved == outcome->needed && !said.startsWith(QLatin1String("NOT"))));
}

void (*target)(const std::string&) = nullptr;
} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    static const QApplication application(*argc, *argv);
    const std::map<std::string, void (*)(const std::string&)> targets
        = {{"--chunks", Chunks}, {"--fstab", FileSystems}, {"--header", Header}, {"--line", Line},
            {"--mounttable", Stable<MountTable>}, {"--record", Stable<Rewritten<ImageRecord>>}, {"--run", Stable<Run>},
            {"--socket", Socket}, {"--table", Table}, {"--usage", Usage}};
    target = targets.at((*argv)[1]);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    target(std::string(reinterpret_cast<const char*>(data), size));
    return 0;
}
