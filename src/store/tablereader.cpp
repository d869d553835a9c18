// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "tablereader.h"

#include "cursor.h"
#include "failure.h"
#include "sha256.h"

#include <QByteArray>
#include <QtEndian>

#include <algorithm>
#include <limits>
#include <sstream>

namespace {
constexpr size_t mostRaw = 40U << 20; // of all areas: a boot track of 32 MiB, and what else of a table stands apart
constexpr uint64_t mostTableLength = 1U << 15; // entries of a GPT: Linux reads no more
constexpr size_t mostLines = 1024;             // Linux offers 256 partitions of a disk
constexpr size_t mostForeignLines = 64;        // of other makers: four slots, and as many logical ones as kernels offer

/** Whether `fields` is "start= N, size= N, Id=HH" with an optional ", bootable". */
bool ParseFields(const std::string& fields, TableLine& result)
{
    Cursor cursor(fields);
    uint64_t type = 0;
    cursor.SkipBlanks();
    if (!cursor.Skip("start="))
        return false;
    cursor.SkipBlanks();
    if (!cursor.Number(result.start, 10) || !cursor.Skip(","))
        return false;
    cursor.SkipBlanks();
    if (!cursor.Skip("size="))
        return false;
    cursor.SkipBlanks();
    if (!cursor.Number(result.size, 10) || !cursor.Skip(","))
        return false;
    cursor.SkipBlanks();
    if (!cursor.Skip("Id=") && !cursor.Skip("type="))
        return false;
    cursor.SkipBlanks();
    if (!cursor.Number(type, 16) || type > 0xff)
        return false;
    result.type = type;
    result.bootable = cursor.Skip(", bootable");
    cursor.SkipBlanks();
    return cursor.AtEnd() && result.start <= std::numeric_limits<uint64_t>::max() - result.size;
}

/** Whether it is a partition line; its name goes to `name`. */
bool ParseLine(const std::string& line, std::string& name, TableLine& result)
{
    const size_t separator = line.find(" : ");
    if (line.rfind("/dev/", 0) != 0 || separator == std::string::npos)
        return false;
    name = line.substr(5, separator - 5);
    return !name.empty() && name.find_first_of(" /") == std::string::npos
        && ParseFields(line.substr(separator + 3), result);
}

/** The reader of one file. */
class Reader
{
public:
    Reader(const std::string& text, const std::string& path)
        : text(text)
        , path(path)
    {
    }

    TableFile Read()
    {
        if (text.empty())
            Damaged("the file is empty");
        const bool sealed = text.rfind(tableHeadline, 0) == 0 || text.find("\n# native: ") != std::string::npos
            || text.find("# complete: ") != std::string::npos;
        if (sealed)
            CheckSeal();
        else if (text.back() != '\n')
            Damaged("the last line is cut");
        for (size_t begin = 0; begin < text.size();) {
            const size_t end = std::min(text.find('\n', begin), text.size());
            std::string line = text.substr(begin, end - begin);
            begin = end + 1;
            if (!line.empty() && line.back() == '\r' && !sealed)
                line.pop_back();
            if (line.rfind('/', 0) == 0)
                AddLine(line);
            else if (sealed)
                AddHeading(line);
        }
        if (sealed && file.lines.empty() && file.native.empty())
            Damaged("there is no partition table in it");
        if (!sealed)
            JudgeLines();
        return file;
    }

private:
    [[noreturn]] void Damaged(const std::string& reason) const
    {
        throw Failure(ExitStatus::Damaged, path + ": " + reason);
    }

    void CheckSeal()
    {
        const size_t last = text.rfind("\n# complete: sha256 ");
        if (last == std::string::npos || text.size() != last + 20 + 64 + 1 || text.back() != '\n')
            Damaged("the partition table in it is cut or damaged");
        file.seal = text.substr(last + 20, 64);
        Sha256 hash;
        hash.Add(text.data(), last + 1);
        if (hash.Hex() != file.seal)
            Damaged("the partition table in it is cut or damaged");
        file.code = AuthenticCode::Find(text, last + 1, tableCode);
    }

    void AddLine(const std::string& line)
    {
        TableLine parsed;
        std::string name;
        std::string disk;
        if (!ParseLine(line, name, parsed))
            Damaged("not a partition line: " + line.substr(0, 200));
        SplitName(name, disk, parsed.number);
        // Without a number the last digits of a disk's name, as of loop0, are no partition's.
        if (!file.disk.empty() && name == file.disk) {
            disk = name;
            parsed.number = 0;
        }
        if (file.disk.empty())
            file.disk = disk;
        if (disk.empty() || disk != file.disk)
            Damaged("not a partition of the disk " + file.disk + ": " + line.substr(0, 200));
        file.lines.push_back(parsed);
        const size_t most = file.seal.empty() ? mostForeignLines : mostLines;
        if (file.lines.size() > most)
            Damaged("it names more than " + std::to_string(most) + " partitions");
    }

    void AddHeading(const std::string& line)
    {
        const size_t end = line.find(": ");
        if (line.rfind("# ", 0) != 0 || end == std::string::npos)
            return;
        const std::string key = line.substr(2, end - 2);
        const std::string value = line.substr(end + 2);
        if (key == "saved")
            file.saved = value;
        else if (key == "disk")
            SetDisk(value);
        else if (key == "model")
            file.model = value;
        else if (key == "disk-bytes")
            file.diskBytes = Number(value);
        else if (key == "sector-bytes")
            file.sectorBytes = Number(value);
        else if (key == "warning")
            file.warnings.push_back(value);
        else if (key == "native")
            AddNative(value);
        else if (key == "swap")
            AddSwap(value);
        else if (key == "raw")
            AddRaw(value);
    }

    void SetDisk(const std::string& name)
    {
        if (!file.lines.empty() || name.find_first_of(" /") != std::string::npos)
            Damaged("not the name of its disk: " + name.substr(0, 200));
        file.disk = name;
    }

    uint64_t Number(const std::string& value) const
    {
        uint64_t number = 0;
        Cursor cursor(value);
        if (!cursor.Number(number, 10) || !cursor.AtEnd())
            Damaged("not a number: " + value.substr(0, 200));
        return number;
    }

    void AddNative(const std::string& value)
    {
        Cursor cursor(value);
        uint64_t length = 0;
        cursor.SkipBlanks();
        if (cursor.Skip("table-length:")) {
            cursor.SkipBlanks();
            if (!cursor.Number(length, 10) || length > mostTableLength)
                Damaged("its GPT has more entries than any disk's");
        }
        if (++nativeLines > 2 * mostLines)
            Damaged("its table has more lines than any disk's");
        file.native += value + "\n";
    }

    void AddSwap(const std::string& value)
    {
        std::istringstream fields(value);
        SwapIdentity swap;
        std::string label;
        fields >> swap.number >> swap.uuid >> label;
        swap.label = QByteArray::fromBase64(QByteArray::fromStdString(label)).toStdString();
        file.swaps.push_back(swap);
    }

    void AddRaw(const std::string& value)
    {
        std::istringstream fields(value);
        RawArea area;
        uint64_t size = 0;
        std::string data;
        fields >> area.offset >> size >> data;
        const QByteArray packed = QByteArray::fromBase64(QByteArray::fromStdString(data));
        // It begins with the size of what comes out of it, for which memory is taken before anything is looked at.
        if (packed.size() >= 4 && qFromBigEndian<quint32>(packed.constData()) == size && size <= mostRaw - rawBytes)
            area.bytes = qUncompress(packed).toStdString();
        if (area.bytes.size() != size)
            Damaged("the raw bytes in it are damaged, or more than belong to a table");
        rawBytes += size;
        file.raw.push_back(std::move(area));
    }

    /** Lines of other makers: complete, in order, and no two partitions in one place. */
    void JudgeLines() const
    {
        if (file.IsWholeDisk())
            return;
        unsigned next = 1;
        for (const TableLine& line : file.lines) {
            if (line.number < next)
                Damaged("the line of partition " + std::to_string(line.number) + " is doubled or out of order");
            if (line.number > next && next <= 4)
                break;
            next = line.number + 1;
            if (line.type == 0xee && line.size > 0)
                throw Failure(ExitStatus::Refused, path + ": it names a GPT but does not hold it");
        }
        if (next <= 4)
            Damaged("the line of partition " + std::to_string(next) + " is missing");
        JudgeOverlap();
    }

    void JudgeOverlap() const
    {
        const TableLine* extended = nullptr;
        for (const TableLine& line : file.lines) {
            if (line.size == 0 || line.number > 4 || !line.IsExtended())
                continue;
            if (extended != nullptr)
                Damaged("it names two extended partitions");
            extended = &line;
        }
        for (const TableLine& line : file.lines) {
            if (line.size == 0)
                continue;
            if (line.number > 4
                && (extended == nullptr || line.start <= extended->start
                    || line.start + line.size > extended->start + extended->size))
                Damaged("partition " + std::to_string(line.number) + " is not inside the extended partition");
            for (const TableLine& other : file.lines) {
                const bool sameLevel = (line.number > 4) == (other.number > 4);
                if (other.size > 0 && other.number < line.number && sameLevel && line.start < other.start + other.size
                    && other.start < line.start + line.size) {
                    throw Failure(ExitStatus::Damaged,
                        path + ": the table does not fit a disk: partitions " + std::to_string(other.number) + " and "
                            + std::to_string(line.number) + " overlap");
                }
            }
        }
    }

    const std::string& text;
    const std::string& path;
    TableFile file;
    size_t rawBytes = 0;
    size_t nativeLines = 0;
};
} // namespace

TableFile ReadTable(const std::string& text, const std::string& path)
{
    return Reader(text, path).Read();
}
