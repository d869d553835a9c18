// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "bootcode.h"
#include "contents.h"
#include "disktables.h"
#include "ends.h"
#include "kernelview.h"

/** What a table meets: disks that don't fit, the kernel's view of them, marks of former use, a boot loader, none. */
class DiskTargetTest : public DiskTables
{
    Q_OBJECT

private Q_SLOTS:
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

QTEST_GUILESS_MAIN(DiskTargetTest)
#include "disktargettest.moc"
