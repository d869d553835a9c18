// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "tablefile.h"

#include "authentication.h"
#include "failure.h"
#include "medium.h"
#include "sha256.h"
#include "tablereader.h"

#include <QByteArray>

#include <algorithm>
#include <numeric>
#include <sstream>

namespace {
constexpr size_t mostText = 256U << 20;

std::string LineText(const std::string& disk, const TableLine& line)
{
    char fields[128];
    // The program's reader looks for "= ", so a blank comes before a number of any length.
    snprintf(fields, sizeof fields, "start= %8llu, size= %8llu, Id=%2x%s", static_cast<unsigned long long>(line.start),
        static_cast<unsigned long long>(line.size), line.type, line.bootable ? ", bootable" : "");
    return "/dev/" + PartitionName(disk, line.number) + " : " + fields + "\n";
}

std::string Base64(const std::string& bytes)
{
    return QByteArray::fromRawData(bytes.data(), bytes.size()).toBase64().toStdString();
}
} // namespace

AuthenticCode AuthenticCode::Find(const std::string& text, size_t end, const std::string& key)
{
    constexpr size_t digits = 64;
    const size_t length = key.size() + digits + 1;
    const size_t begin = end - std::min(end, length);
    if (begin == 0 || text[begin - 1] != '\n' || text.compare(begin, key.size(), key) != 0)
        return {};
    Sha256 hash;
    hash.Add(text.data(), begin);
    return {hash.Hex(), text.substr(begin + key.size(), digits)};
}

const TableLine* TableFile::Find(unsigned number) const
{
    const auto line = std::find_if(lines.begin(), lines.end(), [number](const TableLine& l) {
        return l.number == number && l.size > 0;
    });
    return line == lines.end() ? nullptr : &*line;
}

uint64_t TableFile::EndOfPartitions() const
{
    uint64_t end = 0;
    for (const TableLine& line : lines)
        end = std::max(end, line.start + line.size);
    return end;
}

std::string TableFile::Text(const Authentication* key, const std::string& path)
{
    std::ostringstream text;
    text << tableHeadline << "\n# saved: " << saved << "\n# disk: " << disk << "\n# model: " << model
         << "\n# disk-bytes: " << diskBytes << "\n# sector-bytes: " << sectorBytes << "\n";
    for (const std::string& warning : warnings)
        text << "# warning: " << Printable(warning) << "\n";
    for (const SwapIdentity& swap : swaps)
        text << "# swap: " << swap.number << " " << swap.uuid << " " << Base64(swap.label) << "\n";
    text << "\n";
    for (const TableLine& line : lines)
        text << LineText(disk, line);
    text << "\n";
    std::istringstream script(native);
    for (std::string line; std::getline(script, line);)
        text << "# native: " << line << "\n";
    std::string all = text.str();
    // No second copy of raw bytes that may be many, not even while the text grows.
    all.reserve(std::accumulate(raw.begin(), raw.end(), all.size() + 256, [](size_t sum, const RawArea& area) {
        return sum + 128 + area.bytes.size() * 3 / 2;
    }));
    for (const RawArea& area : raw) {
        const QByteArray packed = qCompress(QByteArray::fromRawData(area.bytes.data(), area.bytes.size()), 9);
        all += "# raw: " + std::to_string(area.offset) + " " + std::to_string(area.bytes.size()) + " ";
        all += packed.toBase64().toStdString() + "\n";
    }
    if (key != nullptr)
        all += tableCode + key->Code(path, Sha256Of(all)) + "\n";
    seal = Sha256Of(all);
    all += "# complete: sha256 " + seal + "\n";
    return all;
}

TableFile TableFile::Parse(const std::string& text, const std::string& path)
{
    return ReadTable(text, path);
}

TableFile TableFile::Read(const std::string& path)
{
    return Parse(Medium::Read(path, mostText), path);
}
