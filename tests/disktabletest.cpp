// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "bootcode.h"
#include "contents.h"
#include "diskimages.h"
#include "ends.h"
#include "kernelview.h"
#include "savedtable.h"
#include "tablewriter.h"

#include <algorithm>

namespace {
constexpr unsigned seed = 20261101;

void SetNumber(std::string& bytes, size_t offset, uint64_t number, unsigned size)
{
    for (unsigned i = 0; i < size; ++i)
        bytes[offset + i] = static_cast<char>(number >> 8 * i);
}

/** An entry of a boot sector or extended boot record at that sector. */
void SetEntry(std::string& disk, uint64_t sector, unsigned slot, const TableLine& line)
{
    const size_t place = sector * 512 + 446 + 16 * slot;
    SetNumber(disk, place, line.bootable ? 0x80 : 0, 4);
    SetNumber(disk, place + 4, line.type, 4);
    SetNumber(disk, place + 8, line.start, 4);
    SetNumber(disk, place + 12, line.size, 4);
    SetNumber(disk, sector * 512 + 510, 0xaa55, 2);
}

void ClearEntries(std::string& disk, uint64_t sector)
{
    for (unsigned slot = 0; slot < 4; ++slot)
        SetEntry(disk, sector, slot, {});
}

/** A disk of random bytes with a DOS table, and where that stands. */
struct DosDisk
{
    std::string bytes;
    uint64_t bootTrack = 0;         ///< sectors before the first partition
    uint64_t end = 0;               ///< the sector behind the last one
    bool isDynamic = false;         ///< one of them is of a Windows dynamic disk
    std::vector<uint64_t> records;  ///< sectors of the extended boot records
    std::vector<TableLine> logical; ///< in the order of the chain
};

/** Each record lies before its partition at an odd distance; all but the first stand anywhere. */
void MakeChain(DosDisk& disk, const TableLine& extended, Chance& chance)
{
    const uint64_t end = extended.start + extended.size;
    for (uint64_t place = extended.start; place + 300 < end && disk.records.size() < 20;) {
        const TableLine line = {0, place + chance.Number(1, 80), chance.Number(1, 200),
            static_cast<unsigned>(chance.Number(0x06, 0x0c)), false};
        disk.records.push_back(place);
        disk.logical.push_back(line);
        place = line.start + line.size + chance.Number(0, 1) * chance.Number(0, 90);
    }
    for (size_t i = disk.records.size(); i > 2; --i) {
        const size_t other = chance.Number(1, i - 1);
        std::swap(disk.records[i - 1], disk.records[other]);
        std::swap(disk.logical[i - 1], disk.logical[other]);
    }
    for (size_t i = 0; i < disk.records.size(); ++i) {
        const uint64_t record = disk.records[i];
        TableLine line = disk.logical[i];
        line.start -= record;
        ClearEntries(disk.bytes, record);
        SetEntry(disk.bytes, record, 0, line);
        if (i + 1 == disk.records.size())
            break;
        const uint64_t next = disk.records[i + 1];
        line = disk.logical[i + 1];
        SetEntry(disk.bytes, record, 1, {0, next - extended.start, line.start + line.size - next, 5, false});
    }
}

DosDisk MakeDosDisk(Chance& chance)
{
    DosDisk disk;
    disk.bootTrack = chance.Number(0, 15) == 0 ? chance.Number(2049, 2500) : chance.Number(1, 500);
    disk.bytes = chance.Bytes((disk.bootTrack + chance.Number(3500, 5500)) * 512);
    ClearEntries(disk.bytes, 0);
    std::vector<unsigned> places = {0, 1, 2, 3};
    for (size_t i = places.size(); i > 1; --i)
        std::swap(places[i - 1], places[chance.Number(0, i - 1)]);
    places.resize(chance.Number(1, 4));
    const size_t extended = chance.Number(0, places.size() - 1);
    uint64_t place = disk.bootTrack;
    for (size_t i = 0; i < places.size(); ++i) {
        const uint64_t size = i == extended ? chance.Number(301, 1800) : chance.Number(1, 300);
        const bool isDynamic = i != extended && chance.Number(0, 3) == 0;
        const TableLine line = {0, place, size,
            i == extended   ? 0x0fU
                : isDynamic ? 0x42U
                            : 0x83U,
            i == 0 && i != extended};
        disk.isDynamic = disk.isDynamic || isDynamic;
        disk.end = place + size;
        SetEntry(disk.bytes, 0, places[i], line);
        if (i == extended)
            MakeChain(disk, line, chance);
        place += size + chance.Number(0, 1) * chance.Number(1, 200);
    }
    return disk;
}

void Copy(const std::string& from, std::string& to, uint64_t sector, uint64_t sectors)
{
    to.replace(sector * 512, sectors * 512, from, sector * 512, sectors * 512);
}

/** Through the text and back: what a restore run has. */
TableFile Saved(const Device& disk)
{
    return TableFile::Parse(DescribeDisk(disk).Text(), "saved");
}

TablePlace PlaceOf(const Device& device)
{
    return {device.path, device.bytes, device.sectorBytes};
}

QString Joined(const std::vector<std::string>& texts)
{
    QStringList list;
    for (const std::string& text : texts)
        list << QString::fromStdString(text);
    return list.join("; ");
}

std::string Quoted(const std::string& name)
{
    std::string text;
    for (const unsigned char c : name) {
        char escaped[8];
        snprintf(escaped, sizeof escaped, "\\x%02x", c);
        text += escaped;
    }
    return text;
}

constexpr size_t endBytes = 1U << 20;

/** In the last MiB, what lies in no partition. */
void ClearEnd(std::string& disk, const TableFile& file)
{
    const std::string before = disk;
    std::fill(disk.end() - endBytes, disk.end(), '\0');
    for (const TableLine& line : file.lines) {
        const size_t begin = line.start * file.sectorBytes, size = line.size * file.sectorBytes;
        disk.replace(begin, size, before, begin, size);
    }
}

constexpr char gptDisk[] = "0A1B2C3D-0011-2233-4455-66778899AABB";
constexpr uint64_t entriesBytes = 16384;
} // namespace

class DiskTableTest : public QObject
{
    Q_OBJECT

    QTemporaryDir folder{Scratch()};

    Device New(const std::string& name, const std::string& bytes, unsigned sectorBytes = 512)
    {
        Device device = Device::OfFile(NewFile(folder, name, bytes));
        device.sectorBytes = sectorBytes;
        return device;
    }

    /** A GPT disk of random bytes with random partitions from sector 2048 on. */
    Device NewGpt(Chance& chance, uint64_t bytes, uint64_t lastSector, unsigned sectorBytes = 512)
    {
        const std::vector<std::string> names = {"", "a \"b\" 'c'", " : start= 5, size= 5, type=83",
            "\xc3\xa4\xe2\x82\xac", "\\", "label: dos", "Basic data partition"};
        const std::vector<std::string> types
            = {"0FC63DAF-8483-4772-8E79-3D69D8477DE4", "EBD0A0A2-B9E5-4433-87C0-68B6B72699C7",
                "C12A7328-F81F-11D2-BA4B-00A0C93EC93B", "12345678-1111-2222-3333-444444444444"};
        const std::vector<std::string> attributes
            = {"", ", attrs=\"LegacyBIOSBootable\"", ", attrs=\"RequiredPartition GUID:48,63\""};
        const Device disk = New("source", chance.Bytes(bytes), sectorBytes);
        std::string script = std::string("label: gpt\nlabel-id: ") + gptDisk + "\nunit: sectors\nfirst-lba: 34\n\n";
        const uint64_t count = chance.Number(4, 128);
        uint64_t place = 2048 * 512 / sectorBytes;
        const uint64_t most = (lastSector - place) / count;
        for (uint64_t number = 1; number <= count; ++number) {
            const uint64_t size = chance.Number(1, most - 1);
            script += "/dev/x" + std::to_string(number) + " : start=" + std::to_string(place)
                + ", size=" + std::to_string(size) + ", type=" + types[chance.Number(0, types.size() - 1)] + ", name=\""
                + Quoted(names[chance.Number(0, names.size() - 1)]) + "\"" + attributes[chance.Number(0, 2)] + "\n";
            place += size + chance.Number(0, most - size);
        }
        ApplyNative(PlaceOf(disk), script);
        return disk;
    }

private Q_SLOTS:
    void dosTablesComeBackBitForBit()
    {
        Chance chance(seed);
        for (int round = 0; round < 320; ++round) {
            const DosDisk made = MakeDosDisk(chance);
            const Device source = New("source", made.bytes);
            const TableFile file = Saved(source);
            QCOMPARE(Joined(file.warnings), QString());
            QCOMPARE(file.lines.size(), made.logical.size() + 4);
            for (size_t i = 0; i < made.logical.size(); ++i) {
                const TableLine& line = file.lines[i + 4];
                QVERIFY(line.number == i + 5 && line.start == made.logical[i].start && line.size == made.logical[i].size
                    && line.type == made.logical[i].type);
            }
            std::string expected = chance.Bytes(made.bytes.size() + chance.Number(0, 1) * 51200);
            const Device target = New("target", expected);
            WriteTable(file, PlaceOf(target), made.bytes.substr(0, 512));
            const bool isLarger = expected.size() > made.bytes.size();
            ClearEnd(expected, file);
            const size_t end = std::max(made.end * 512, made.bytes.size() - endBytes) / 512;
            if (made.isDynamic && !isLarger)
                Copy(made.bytes, expected, end, made.bytes.size() / 512 - end);
            QCOMPARE(LosesDatabase(file, target), made.isDynamic && isLarger);
            Copy(made.bytes, expected, 0, made.bootTrack);
            for (const uint64_t record : made.records)
                Copy(made.bytes, expected, record, 1);
            QVERIFY2(Content(target.path) == expected, qPrintable(QString("round %1").arg(round)));
            QVERIFY(IsBootTrackAsSaved(target, file));
            const uint64_t place = chance.Number(0, made.bootTrack * 512 - 73); // not in the table itself
            expected[place < 440 ? place : place + 72] ^= 1;
            QVERIFY(!IsBootTrackAsSaved(New("target", expected), file));
        }
    }

    void gptsComeBackBitForBit_data()
    {
        QTest::addColumn<unsigned>("sectorBytes");
        QTest::addColumn<bool>("hybrid");
        QTest::addColumn<uint64_t>("bytes"); // of the target
        const auto row = [](const char* name, unsigned sectorBytes, bool hybrid, uint64_t bytes) {
            QTest::newRow(name) << sectorBytes << hybrid << bytes;
        };
        row("512", 512, false, 8U << 20);
        row("4096", 4096, false, 8U << 20);
        row("hybrid boot sector", 512, true, 8U << 20);
        row("larger", 512, false, 9U << 20);
        row("larger by a sector", 512, false, (8U << 20) + 512);
        row("smaller", 512, false, 6U << 20);
        row("just large enough", 512, false, (5U << 20) + 33 * 512);
    }

    void gptsComeBackBitForBit()
    {
        QFETCH(unsigned, sectorBytes);
        QFETCH(bool, hybrid);
        QFETCH(uint64_t, bytes);
        Chance chance(seed);
        for (int round = 0; round < 8; ++round) {
            const Device source = NewGpt(chance, 8U << 20, (5U << 20) / sectorBytes, sectorBytes);
            std::string made = Content(source.path);
            if (hybrid) {
                SetNumber(made, 440, 0x12345678, 4);
                SetEntry(made, 0, 0, {0, 1, 33, 0xee, false});
                SetEntry(made, 0, 2, {0, 2048, 4, 0x83, true});
            } else if (round % 2 == 1) {
                made[446] = '\x80'; // there is firmware that asks for an active entry
            }
            Put(source.path, made.substr(0, 512));
            TableFile file = Saved(source);
            QCOMPARE(Joined(file.warnings), QString());
            file.lines.push_back({200, 2048 * 512 / sectorBytes, 1, 0x83, false}); // the kernel alone has it
            std::string expected = chance.Bytes(bytes);
            const Device target = New("target", expected, sectorBytes);
            RefuseUnfitDisk(file, target);
            WriteTable(file, PlaceOf(target), made.substr(0, 512));
            const std::string got = Content(target.path);
            ClearEnd(expected, file);
            Copy(made, expected, 0, 2048);
            expected.replace(bytes - sectorBytes - entriesBytes, entriesBytes, made, 2 * sectorBytes, entriesBytes);
            expected.replace(bytes - sectorBytes, sectorBytes, made, made.size() - sectorBytes, sectorBytes);
            if (bytes != made.size()) {
                QCOMPARE(Joined(ReadDiskTable(PlaceOf(target)).complaints), QString());
                QVERIFY(Run({"sfdisk", "--verify", target.path}).find("No errors detected") != std::string::npos);
                QCOMPARE(got[446], made[446]);
                expected.replace(446, 122, got, 446, 122); // what depends on the size: the protective entry and headers
                expected.replace(bytes - 512, 512, got, bytes - 512, 512);
            }
            QVERIFY2(got == expected, qPrintable(QString("round %1").arg(round)));
        }
    }

    void grubComesBackAsItWasSaved_data()
    {
        QTest::addColumn<QString>("table"); // of the target, as sfdisk takes it
        QTest::addColumn<unsigned>("sectorBytes");
        QTest::addColumn<QString>("change"); // to the set: what is at fault
        QTest::addColumn<bool>("installed");
        const auto row = [](const char* name, const char* table, unsigned sectorBytes, const char* change, bool done) {
            QTest::newRow(name) << table << sectorBytes << change << done;
        };
        row("another signature", "label: dos\nlabel-id: 0x1\nstart=64, size=64\n", 512, "", true);
        row("a partition in the core's place", "label: dos\nstart=20, size=64\n", 512, "", false);
        row("one right behind it", "label: dos\nstart=22, size=64\n", 512, "", true);
        row("another kind of table", "label: gpt\n", 512, "", false);
        row("other sectors", "label: dos\nstart=64, size=64\n", 4096, "", false);
        row("no GRUB", "label: dos\nstart=64, size=64\n", 512, "code", false);
        row("an unreadable sector", "label: dos\nstart=64, size=64\n", 512, "warning", false);
        row("a core beyond what is saved", "label: dos\nstart=2000, size=64\n", 512, "core", false);
    }

    void grubComesBackAsItWasSaved()
    {
        QFETCH(QString, table);
        QFETCH(unsigned, sectorBytes);
        QFETCH(QString, change);
        QFETCH(bool, installed);
        Chance chance(seed);
        std::string made = chance.Bytes(4U << 20);
        made.replace(0x180, 4, change == "code" ? "LILO" : "GRUB");
        SetNumber(made, 0x5c, 1, 8); // the core begins there and goes on in 20 sectors
        SetNumber(made, 2 * 512 - 12, 2, 8);
        SetNumber(made, 2 * 512 - 4, change == "core" ? 1000 : 20, 2);
        SetNumber(made, 2 * 512 - 16, 0, 2);
        const Device source = New("source", made);
        ApplyNative(PlaceOf(source), "label: dos\nstart=64, size=64\n");
        Put(source.path, made.substr(0, 440)); // a new table clears the boot code
        TableFile file = Saved(source);
        if (change == "warning")
            file.warnings.emplace_back("the sector at byte 1024 cannot be read");
        const Device target = New("target", chance.Bytes(5U << 20), sectorBytes);
        ApplyNative(PlaceOf(target), table.toStdString());
        std::string expected = Content(target.path);
        QCOMPARE(ReinstallSavedGrub(target, file), installed);
        if (installed) {
            expected.replace(0, 440, made, 0, 440);
            expected.replace(512, 21U * 512, made, 512, 21U * 512);
        }
        QVERIFY(Content(target.path) == expected);
    }

    void tablesWithoutPartitions()
    {
        Chance chance(seed);
        for (const char* label : {"dos", "gpt"}) {
            for (const uint64_t bytes : {3U << 20, 4U << 20, 5U << 20}) {
                const Device source = New("source", chance.Bytes(4U << 20));
                ApplyNative(PlaceOf(source), std::string("label: ") + label + "\n");
                const TableFile file = Saved(source);
                QCOMPARE(Joined(file.warnings), QString());
                const Device target = New("target", chance.Bytes(bytes));
                WriteTable(file, PlaceOf(target), Content(source.path).substr(0, 512));
                const DiskTable table = ReadDiskTable(PlaceOf(target));
                QCOMPARE(table.kind, std::string(label));
                QCOMPARE(Joined(table.complaints), QString());
                QCOMPARE(table.Comparable(), ReadDiskTable(PlaceOf(source)).Comparable());
                QCOMPARE(Content(target.path).size(), size_t{bytes});
            }
        }
    }

    void refusesUnfitDisks()
    {
        struct Case
        {
            const char* label;
            uint64_t end; // of the partition, in sectors
            uint64_t sectors;
            unsigned sectorBytes;
            QString answer;
        };
        const std::vector<Case> cases = {
            {"dos", 3000, 3000, 512, ""},
            {"dos", 3000, 2999, 512, "75 2999 sectors, the saved table needs 3000"},
            {"dos", 9000, 8192, 512, ""}, // beyond the end of its own disk
            {"gpt", 3000, 3033, 512, ""},
            {"gpt", 3000, 3032, 512, "75 3032 sectors, the saved table needs 3033"}, // with the second copy
            {"dos", 3000, 8192, 4096, "75 sectors of 4096 bytes, the saved table counts in sectors of 512"},
        };
        for (const Case& c : cases) {
            const Device source = New("source", std::string(8192 * 512, '\0'));
            ApplyNative(
                PlaceOf(source), std::string("label: ") + c.label + "\n\n/dev/x1 : start=2048, size=100, type=L\n");
            TableFile file = Saved(source);
            file.lines.front().size = c.end - 2048;
            Device target = New("target", "x", c.sectorBytes);
            target.bytes = c.sectors * c.sectorBytes;
            const QString complaint = Complaint([&] {
                RefuseUnfitDisk(file, target);
            });
            QCOMPARE(complaint.left(3) + complaint.section(" has ", 1), c.answer);
        }
    }

    void warnsOfOddTables()
    {
        Chance chance(seed);
        const std::string none = chance.Bytes(4U << 20);
        std::string beyond = none;
        ClearEntries(beyond, 0);
        std::string hybrid = beyond;
        std::string empty = beyond;
        std::string oneCopy = Content(NewGpt(chance, 4U << 20, 8000).path);
        SetEntry(beyond, 0, 1, {0, 8000, 193, 0x83, false});
        SetEntry(hybrid, 0, 0, {0, 0, 8000, 0x17, true});
        SetEntry(hybrid, 0, 1, {0, 700, 500, 0xef, false});
        hybrid.replace(32768, 8, std::string("\1CD001\1\0", 8));
        SetEntry(empty, 0, 0, {0, 64, 2000, 0x05, false});
        empty.replace(64 * 512, 512, 512, '\0');
        oneCopy.replace(oneCopy.size() - 512, 512, 512, 'x');
        const std::vector<std::pair<std::string, QString>> disks = {
            {beyond, "partition 2 ends beyond the end of the disk"},
            {hybrid, "partition 1 covers the boot sector, as on a hybrid of a CD and a disk"},
            {oneCopy, "one of the two copies of the GPT is missing or damaged"},
            {none, "no partition table that can be saved; the disk is saved as a whole"},
            {empty, ""}, // an extended partition without a logical one
        };
        for (const auto& [made, warning] : disks) {
            const Device source = New("source", made);
            const TableFile file = Saved(source);
            QCOMPARE(Joined(file.warnings).section("; libfdisk says: ", 0, 0), warning);
            QCOMPARE(file.IsWholeDisk(), made == none);
            if (made == none)
                continue;
            const Device target = New("target", chance.Bytes(made.size()));
            WriteTable(file, PlaceOf(target), made.substr(0, 512));
            QVERIFY(Content(target.path).substr(0, 512) == made.substr(0, 512));
            QCOMPARE(ReadDiskTable(PlaceOf(target)).Comparable(), ReadDiskTable(PlaceOf(source)).Comparable());
        }
    }

    void clearsBothEndsOfAPartition()
    {
        struct Case
        {
            TableLine line;
            std::vector<TableLine> others;
            std::vector<RawArea> raw;
            std::vector<std::pair<uint64_t, uint64_t>> cleared; // sectors of the partition
        };
        const std::vector<Case> cases = {
            {{1, 63, 6000, 7, false}, {{2, 6063, 500, 7, false}}, {}, {{0, 2048}, {3952, 6000}}},
            {{1, 63, 3000, 7, false}, {}, {}, {{0, 3000}}},
            {{1, 63, 3, 7, false}, {}, {}, {{0, 3}}},
            {{0, 0, 6000, 0, false}, {}, {{0, std::string(512, 'x')}}, {{1, 2048}, {3952, 6000}}}, // the whole disk
            {{5, 100, 6000, 7, false}, {{4, 99, 9000, 5, false}, {6, 6000, 50, 7, false}, {7, 1, 100, 7, false}},
                {{5900 * 512, std::string(512, 'x')}}, {{1, 2048}, {3952, 5800}, {5801, 5900}, {5950, 6000}}},
            {{1, 63, 3000, 7, false}, {{2, 0, ~0ULL, 7, false}}, {{~0ULL, "x"}}, {}},
        };
        for (const Case& c : cases) {
            std::string expected(c.line.size * 512, 'y');
            const Device partition = New("part", expected);
            TableFile file;
            file.lines = c.others;
            file.lines.push_back(c.line);
            file.raw = c.raw;
            ClearPartitionEnds(file, c.line, partition);
            for (const auto& [begin, end] : c.cleared)
                expected.replace(begin * 512, (end - begin) * 512, (end - begin) * 512, '\0');
            QVERIFY(Content(partition.path) == expected);
        }
    }

    void linesOfTheKernel()
    {
        struct Case
        {
            const char* label;
            std::vector<TableLine> lines;
            std::vector<KernelPartition> kernel;
            QString answer; // lines, first warning, whether volumes are shown
        };
        const std::vector<TableLine> dos = {{1, 64, 900, 5, false}, {5, 100, 50, 7, false}};
        const std::vector<TableLine> gpt = {{5, 100, 50, 7, false}};
        const std::vector<TableLine> dynamic = {{1, 63, 900, 0x42, false}};
        const QString restart = "partition 5 is elsewhere for the kernel than in the table; restart the machine first";
        const QString alone = "is known to the kernel alone; it is saved as others are";
        const std::vector<Case> cases = {
            {"dos", dos, {{1, 64, 2, 0}, {5, 100, 50, 0}}, "1:64+900 5:100+50  0"},
            {"dos", dos, {{1, 64, 2, 0}, {5, 200, 50, 0}}, "1:64+900 5:200+50 partition 5 " + alone + " 0"},
            {"gpt", gpt, {{5, 200, 50, 0}}, "5:100+50 " + restart + " 0"},
            {"gpt", gpt, {{5, 100, 50, 0}, {6, 200, 50, 0}}, "5:100+50 6:200+50 partition 6 " + alone + " 0"},
            {"dos", dynamic, {{1, 63, 900, 0}}, "1:63+900  0"},
            {"dos", dynamic, {{1, 63, 400, 0}}, "1:63+900 " + QString(restart).replace('5', '1') + " 1"},
            {"gpt", {{1, 63, 900, 0x42, false}}, {{1, 63, 400, 0}},
                "1:63+900 " + QString(restart).replace('5', '1') + " 0"},
        };
        Device disk;
        disk.bytes = 1U << 20;
        for (const Case& c : cases) {
            TableFile file;
            file.native = std::string("label: ") + c.label + "\n";
            file.lines = c.lines;
            const bool volumes = ShowsVolumes(c.kernel, disk, file);
            AddKernelPartitions(c.kernel, disk, file);
            QString answer;
            for (const TableLine& line : file.lines)
                answer += QString("%1:%2+%3 ").arg(line.number).arg(line.start).arg(line.size);
            QCOMPARE(answer + Joined(file.warnings) + (volumes ? " 1" : " 0"), c.answer);
        }
    }

    void disksWithoutATable()
    {
        const std::vector<std::vector<std::string>> commands
            = {{"mkfs.ext4", "-q", "-F"}, {"mkfs.vfat"}, {"mkswap", "-q", "-L", "a b", "-U", gptDisk},
                // FAT whose boot code looks like a table
                {"sh", "-c",
                    "mkfs.vfat $0 && printf '\\0\\1\\1\\0\\203\\1\\1\\0\\1\\0\\0\\0\\100\\0\\0\\0' | "
                    "dd of=$0 bs=1 seek=446 conv=notrunc status=none"}};
        for (std::vector<std::string> command : commands) {
            const Device source = New("hdc", std::string(4U << 20, '\0'));
            command.push_back(source.path);
            Run(command);
            const TableFile file = Saved(source);
            QCOMPARE(Joined(file.warnings), QString());
            QVERIFY(file.IsWholeDisk() && file.disk == "hdc" && file.native.empty());
            QVERIFY(file.lines[0].start == 0 && file.lines[0].size == 8192);
            const bool swap = command.front() == "mkswap";
            QCOMPARE(file.lines[0].type, swap ? 0x82U : 0U);
            QCOMPARE(file.swaps.size(), size_t{swap});
            if (swap) {
                QCOMPARE(QString::fromStdString(file.swaps[0].uuid).toUpper(), QString(gptDisk));
                QCOMPARE(file.swaps[0].label, std::string("a b"));
            }
        }
    }
};

QTEST_GUILESS_MAIN(DiskTableTest)
#include "disktabletest.moc"
