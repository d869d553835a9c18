// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "bootcode.h"
#include "contents.h"
#include "diskimages.h"
#include "savedtable.h"
#include "tablewriter.h"

#include <algorithm>
#include <numeric>

namespace {
constexpr unsigned seed = 20261101;

void SetNumber(std::string& bytes, size_t offset, uint64_t number, unsigned size)
{
    for (unsigned i = 0; i < size; ++i)
        bytes[offset + i] = static_cast<char>(number >> 8 * i);
}

uint64_t NumberAt(const std::string& bytes, size_t offset, unsigned size)
{
    uint64_t number = 0;
    for (unsigned i = size; i > 0; --i)
        number = number << 8 | static_cast<unsigned char>(bytes[offset + i - 1]);
    return number;
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
    std::vector<uint64_t> records;  ///< sectors of the extended boot records
    std::vector<TableLine> logical; ///< in the order of the chain
};

/** Each record lies before its partition at an odd distance; all but the first stand anywhere. */
void MakeChain(DosDisk& disk, const TableLine& extended, Chance& chance)
{
    struct Link
    {
        uint64_t record;
        TableLine line;
    };
    std::vector<Link> chain;
    const uint64_t end = extended.start + extended.size;
    for (uint64_t place = extended.start; place + 300 < end && chain.size() < 20;) {
        const uint64_t gap = chance.Number(1, 80);
        const uint64_t size = chance.Number(1, 200);
        chain.push_back({place, {0, place + gap, size, chance.Number(0, 1) == 0 ? 0x83U : 0x07U, false}});
        place += gap + size + (chance.Number(0, 1) == 0 ? 0 : chance.Number(0, 90));
    }
    for (size_t i = chain.size(); i > 2; --i)
        std::swap(chain[i - 1], chain[chance.Number(1, i - 1)]);
    for (size_t i = 0; i < chain.size(); ++i) {
        ClearEntries(disk.bytes, chain[i].record);
        TableLine line = chain[i].line;
        line.start -= chain[i].record;
        SetEntry(disk.bytes, chain[i].record, 0, line);
        if (i + 1 < chain.size()) {
            const Link& next = chain[i + 1];
            SetEntry(disk.bytes, chain[i].record, 1,
                {0, next.record - extended.start, next.line.start + next.line.size - next.record, 5, false});
        }
        disk.records.push_back(chain[i].record);
        disk.logical.push_back(chain[i].line);
    }
}

DosDisk MakeDosDisk(Chance& chance)
{
    DosDisk disk;
    const uint64_t sectors = chance.Number(4000, 6000);
    disk.bytes = chance.Bytes(sectors * 512);
    disk.bootTrack = chance.Number(1, 500);
    ClearEntries(disk.bytes, 0);
    std::vector<unsigned> places(4);
    std::iota(places.begin(), places.end(), 0);
    for (size_t i = places.size(); i > 1; --i)
        std::swap(places[i - 1], places[chance.Number(0, i - 1)]);
    places.resize(chance.Number(1, 4));
    const size_t extended = chance.Number(0, places.size() - 1);
    uint64_t place = disk.bootTrack;
    for (size_t i = 0; i < places.size(); ++i) {
        const uint64_t size = i == extended ? chance.Number(301, 1800) : chance.Number(1, 300);
        const TableLine line = {0, place, size, i == extended ? 0x0fU : 0x83U, i == 0 && i != extended};
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
            const std::string before = chance.Bytes(made.bytes.size());
            const Device target = New("target", before);
            WriteTable(file, PlaceOf(target), made.bytes.substr(0, 512));
            std::string expected = before;
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
        QTest::newRow("512") << 512U << false;
        QTest::newRow("4096") << 4096U << false;
        QTest::newRow("hybrid boot sector") << 512U << true;
    }

    void gptsComeBackBitForBit()
    {
        QFETCH(unsigned, sectorBytes);
        QFETCH(bool, hybrid);
        Chance chance(seed);
        const uint64_t bytes = 6U << 20;
        for (int round = 0; round < 20; ++round) {
            const Device source = NewGpt(chance, bytes, (5U << 20) / sectorBytes, sectorBytes);
            std::string made = Content(source.path);
            if (hybrid) {
                SetNumber(made, 440, 0x12345678, 4);
                SetEntry(made, 0, 0, {0, 1, 33, 0xee, false});
                SetEntry(made, 0, 2, {0, 2048, 4, 0x83, true});
                Put(source.path, made.substr(0, 512));
            }
            const TableFile file = Saved(source);
            QCOMPARE(Joined(file.warnings), QString());
            const std::string before = chance.Bytes(bytes);
            Device target = New("target", before, sectorBytes);
            WriteTable(file, PlaceOf(target), made.substr(0, 512));
            std::string expected = before;
            Copy(made, expected, 0, 2048);
            const uint64_t second = bytes - sectorBytes - entriesBytes;
            expected.replace(second, std::string::npos, made, second, std::string::npos);
            QVERIFY2(Content(target.path) == expected, qPrintable(QString("round %1").arg(round)));
        }
    }

    void gptsMoveToDisksOfOtherSizes_data()
    {
        QTest::addColumn<uint64_t>("bytes");
        QTest::newRow("larger") << uint64_t{9U << 20};
        QTest::newRow("larger by a sector") << uint64_t{(8U << 20) + 512};
        QTest::newRow("smaller") << uint64_t{6U << 20};
        QTest::newRow("just large enough") << uint64_t{(5U << 20) + 33 * 512};
    }

    void gptsMoveToDisksOfOtherSizes()
    {
        QFETCH(uint64_t, bytes);
        Chance chance(seed);
        for (int round = 0; round < 20; ++round) {
            const Device source = NewGpt(chance, 8U << 20, 10240);
            const std::string made = Content(source.path);
            const TableFile file = Saved(source);
            const std::string before = chance.Bytes(bytes);
            const Device target = New("target", before);
            RefuseUnfitDisk(file, target);
            WriteTable(file, PlaceOf(target), made.substr(0, 512));
            const std::string got = Content(target.path);
            QCOMPARE(got.size(), size_t{bytes});
            QVERIFY(got.substr(0, 440) == made.substr(0, 440));             // boot code
            QVERIFY(got.substr(512 + 56, 16) == made.substr(512 + 56, 16)); // the disk's identifier
            QVERIFY(got.substr(1024, entriesBytes) == made.substr(1024, entriesBytes));
            QVERIFY(got.substr(1024 + entriesBytes, (2048 - 34) * 512)
                == made.substr(1024 + entriesBytes, (2048 - 34) * 512));
            QVERIFY(got.substr(bytes - 512, 8) == "EFI PART");
            QCOMPARE(NumberAt(got, bytes - 512 + 24, 8), bytes / 512 - 1);
            QVERIFY(got.substr(bytes - 512 - entriesBytes, entriesBytes) == made.substr(1024, entriesBytes));
            QVERIFY(got.substr(1U << 20, 4U << 20) == before.substr(1U << 20, 4U << 20));
            QCOMPARE(Joined(ReadDiskTable(PlaceOf(target)).complaints), QString());
            QVERIFY(Run({"sfdisk", "--verify", target.path}).find("No errors detected") != std::string::npos);
        }
    }

    void tablesWithoutPartitions_data()
    {
        QTest::addColumn<QString>("label");
        QTest::addColumn<uint64_t>("bytes");
        for (const char* label : {"dos", "gpt"}) {
            for (const uint64_t size : {3, 4, 5})
                QTest::addRow("%s %d", label, static_cast<int>(size)) << QString(label) << (size << 20);
        }
    }

    void tablesWithoutPartitions()
    {
        QFETCH(QString, label);
        QFETCH(uint64_t, bytes);
        Chance chance(seed);
        const Device source = New("source", chance.Bytes(4U << 20));
        ApplyNative(PlaceOf(source), "label: " + label.toStdString() + "\n");
        const TableFile file = Saved(source);
        QCOMPARE(Joined(file.warnings), QString());
        const Device target = New("target", chance.Bytes(bytes));
        WriteTable(file, PlaceOf(target), Content(source.path).substr(0, 512));
        const DiskTable table = ReadDiskTable(PlaceOf(target));
        QCOMPARE(table.kind, label.toStdString());
        QCOMPARE(Joined(table.complaints), QString());
        QCOMPARE(table.Comparable(), ReadDiskTable(PlaceOf(source)).Comparable());
        QCOMPARE(Content(target.path).size(), size_t{bytes});
    }

    void refusesUnfitDisks_data()
    {
        QTest::addColumn<QString>("label");
        QTest::addColumn<uint64_t>("end"); // of the partition, in sectors
        QTest::addColumn<uint64_t>("sectors");
        QTest::addColumn<unsigned>("sectorBytes");
        QTest::addColumn<QString>("answer");
        const auto row = [](const char* name, const QString& label, uint64_t end, uint64_t sectors,
                             unsigned sectorBytes, const QString& answer) {
            QTest::newRow(name) << label << end << sectors << sectorBytes << answer;
        };
        row("DOS, fits", "dos", 3000, 3000, 512, "");
        row("DOS", "dos", 3000, 2999, 512, "has 2999 sectors, the saved table needs 3000");
        row("DOS, beyond the end of its own disk", "dos", 9000, 8192, 512, "");
        row("GPT, fits", "gpt", 3000, 3033, 512, "");
        row("GPT, no room for the second copy", "gpt", 3000, 3032, 512, "has 3032 sectors, the saved table needs 3033");
        row("other sectors", "dos", 3000, 8192, 4096,
            "has sectors of 4096 bytes, the saved table counts in sectors of 512");
    }

    void refusesUnfitDisks()
    {
        QFETCH(uint64_t, end);
        QFETCH(uint64_t, sectors);
        QFETCH(unsigned, sectorBytes);
        QFETCH(QString, label);
        QFETCH(QString, answer);
        const Device source = New("source", std::string(8192 * 512, '\0'));
        ApplyNative(PlaceOf(source), "label: " + label.toStdString() + "\n\n/dev/x1 : start=2048, size=100, type=L\n");
        TableFile file = Saved(source);
        file.lines.front().size = end - 2048;
        Device target = New("target", std::string(1, '\0'), sectorBytes);
        target.bytes = sectors * sectorBytes;
        const QString complaint = Complaint([&] {
            RefuseUnfitDisk(file, target);
        });
        QVERIFY2(answer.isEmpty() ? complaint.isEmpty() : complaint.startsWith("75 ") && complaint.contains(answer),
            qPrintable(complaint));
    }

    void warnsOfOddTables_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("warning");
        QTest::newRow("beyond the end") << 0 << "partition 2 ends beyond the end of the disk";
        QTest::newRow("hybrid of a CD") << 1 << "partition 1 covers the boot sector, as on a hybrid of a CD and a disk";
        QTest::newRow("second copy of a GPT is gone") << 2 << "one of the two copies of the GPT is missing or damaged";
        QTest::newRow("unknown table") << 3 << "no partition table that can be saved; the disk is saved as a whole";
        QTest::newRow("empty extended partition") << 4 << "";
    }

    void warnsOfOddTables()
    {
        QFETCH(int, kind);
        QFETCH(QString, warning);
        Chance chance(seed);
        std::string bytes = chance.Bytes(4U << 20);
        ClearEntries(bytes, 0);
        if (kind == 0) {
            SetEntry(bytes, 0, 1, {0, 8000, 193, 0x83, false});
        } else if (kind == 1) {
            SetEntry(bytes, 0, 0, {0, 0, 8000, 0x17, true});
            SetEntry(bytes, 0, 1, {0, 700, 500, 0xef, false});
            bytes.replace(32768, 8, std::string("\1CD001\1\0", 8));
        } else if (kind == 4) {
            SetEntry(bytes, 0, 0, {0, 64, 2000, 0x05, false});
            std::fill_n(bytes.begin() + 64 * 512, 512, '\0');
        }
        const Device source
            = kind == 2 ? NewGpt(chance, 4U << 20, 8000) : New("source", kind == 3 ? chance.Bytes(4U << 20) : bytes);
        if (kind == 2)
            Put(source.path, std::string(512, 'x'), (4U << 20) - 512);
        const TableFile file = Saved(source);
        QCOMPARE(Joined(file.warnings), warning);
        if (kind == 3) {
            QVERIFY(file.IsWholeDisk());
            return;
        }
        const std::string made = Content(source.path);
        const Device target = New("target", chance.Bytes(made.size()));
        WriteTable(file, PlaceOf(target), made.substr(0, 512));
        QVERIFY(Content(target.path).substr(0, 512) == made.substr(0, 512));
        QCOMPARE(ReadDiskTable(PlaceOf(target)).Comparable(), ReadDiskTable(PlaceOf(source)).Comparable());
    }

    void disksWithoutATable_data()
    {
        QTest::addColumn<QStringList>("command");
        QTest::addColumn<unsigned>("type");
        QTest::newRow("file system") << QStringList{"mkfs.ext4", "-q", "-F"} << 0U;
        QTest::newRow("FAT") << QStringList{"mkfs.vfat"} << 0U;
        QTest::newRow("swap") << QStringList{"mkswap", "-q", "-L", "a b", "-U", gptDisk} << 0x82U;
    }

    void disksWithoutATable()
    {
        QFETCH(QStringList, command);
        QFETCH(unsigned, type);
        const Device source = New("hdc", std::string(4U << 20, '\0'));
        std::vector<std::string> words;
        for (const QString& word : command)
            words.push_back(word.toStdString());
        words.push_back(source.path);
        Run(words);
        const TableFile file = Saved(source);
        QVERIFY(file.IsWholeDisk());
        QCOMPARE(Joined(file.warnings), QString());
        QVERIFY(
            file.disk == "hdc" && file.lines[0].start == 0 && file.lines[0].size == 8192 && file.lines[0].type == type);
        QVERIFY(file.native.empty());
        QCOMPARE(file.swaps.size(), size_t{type == 0 ? 0U : 1U});
        if (type != 0) {
            QCOMPARE(QString::fromStdString(file.swaps[0].uuid).toUpper(), QString(gptDisk));
            QCOMPARE(file.swaps[0].label, std::string("a b"));
        }
    }
};

QTEST_GUILESS_MAIN(DiskTableTest)
#include "disktabletest.moc"
