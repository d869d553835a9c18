// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "imagerecord.h"

#include "authentication.h"
#include "failure.h"
#include "medium.h"
#include "sha256.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <numeric>
#include <sstream>

namespace {
constexpr char headline[] = "Norvo Clone-Restore partition image";
constexpr char lastLine[] = "end\n";
constexpr char codeKey[] = "hmac ";
} // namespace

uint64_t ImageRecord::BadBytes() const
{
    return std::accumulate(bad.begin(), bad.end(), uint64_t{0}, [](uint64_t sum, const auto& range) {
        return sum + range.second;
    });
}

std::string ImageRecord::Text(const Authentication* key, const std::string& path) const
{
    std::ostringstream text;
    text << headline << "\ncontent " << content << "\npartition-bytes " << partitionBytes << "\nbytes " << bytes
         << "\nsha256 " << sha256 << "\npartition " << partition << "\nstart " << start << "\nsize " << size
         << "\ntable " << (table.empty() ? "none" : table) << "\nsaved " << saved << "\nstate " << Printable(state)
         << "\n";
    for (const auto& [offset, length] : bad)
        text << "bad " << offset << " " << length << "\n";
    std::string all = text.str();
    if (key != nullptr)
        all += codeKey + key->Code(path, Sha256Of(all)) + "\n";
    return all + lastLine;
}

ImageRecord ImageRecord::Parse(const std::string& text, const std::string& path)
{
    std::istringstream lines(text);
    ImageRecord record;
    std::string line;
    std::getline(lines, line);
    bool ended = false;
    bool sound = line == headline;
    while (!ended && std::getline(lines, line)) {
        std::istringstream fields(line);
        std::string key;
        fields >> key;
        uint64_t offset = 0;
        uint64_t length = 0;
        if (key == "end")
            ended = true;
        else if (key == "content")
            fields >> record.content;
        else if (key == "partition-bytes")
            sound = sound && fields >> record.partitionBytes;
        else if (key == "bytes")
            sound = sound && fields >> record.bytes;
        else if (key == "sha256")
            fields >> record.sha256;
        else if (key == "partition")
            fields >> record.partition;
        else if (key == "start")
            sound = sound && fields >> record.start;
        else if (key == "size")
            sound = sound && fields >> record.size;
        else if (key == "table")
            fields >> record.table;
        else if (key == "saved")
            fields >> record.saved;
        else if (key == "state")
            std::getline(fields >> std::ws, record.state);
        else if (key == "bad") {
            sound = sound && fields >> offset >> length;
            record.bad.emplace_back(offset, length);
        }
    }
    if (!sound || !ended || record.sha256.size() != 64 || record.content.empty())
        throw Failure(ExitStatus::Damaged,
            path + ": the record of the image is damaged; without it the image is tested in full instead");
    record.code = AuthenticCode::Find(text, text.size() - std::min(text.size(), strlen(lastLine)), codeKey);
    return record;
}

ImageRecord ImageRecord::Read(const std::string& path)
{
    constexpr size_t most = 16U << 20;
    return Parse(Medium::Read(path, most), path);
}

std::string ImageRecord::Mismatch(const TableFile& setTable, const TableLine& line) const
{
    const std::string name = PartitionName(setTable.disk, line.number);
    if (partition.empty()) { // a record of an earlier version
        const bool same = line.IsExtended() || partitionBytes == line.size * setTable.sectorBytes;
        return same ? "" : "the image is of a partition of another size than " + name;
    }
    if (partition == name && start == line.start && size == line.size)
        return "";
    return "the image is that of " + partition + " at sector " + std::to_string(start) + ", not of " + name + " at "
        + std::to_string(line.start);
}

ImageFiles::ImageFiles(const std::string& folder, const std::string& partition, const std::string& base)
    : path(folder + "/" + base)
{
    const std::string ending = partition + ".bz2";
    if (base.find('/') != std::string::npos || base.size() < ending.size()
        || base.compare(base.size() - ending.size(), ending.size(), ending) != 0)
        throw Failure(ExitStatus::Usage, base + ": the name of an image of " + partition + " ends in " + ending);
    prefix = folder + "/" + base.substr(0, base.size() - ending.size());
}

std::string ImageFiles::Volume(unsigned number) const
{
    char ending[8];
    snprintf(ending, sizeof ending, ".%03u", number % 1000);
    return path + ending;
}

std::string ImageFiles::Record() const
{
    return path + ".sum";
}

std::string ImageFiles::NewImage() const
{
    return path + ".new";
}

std::string ImageFiles::NewRecord() const
{
    return path + ".nsu";
}

std::string ImageFiles::Table(const std::string& disk) const
{
    return prefix + disk + ".sf";
}

std::string TimeStamp()
{
    const time_t now = time(nullptr);
    struct tm parts = {};
    gmtime_r(&now, &parts);
    char text[32];
    strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}
