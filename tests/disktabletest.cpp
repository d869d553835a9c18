// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "bootcode.h"
#include "disktables.h"

#include <algorithm>

namespace {
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

constexpr uint64_t entriesBytes = 16384;
} // namespace

class DiskTableTest : public DiskTables
{
    Q_OBJECT

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
};

QTEST_GUILESS_MAIN(DiskTableTest)
#include "disktabletest.moc"
