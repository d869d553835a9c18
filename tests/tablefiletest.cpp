// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "tablefile.h"
#include "diskimages.h"
#include "fstab.h"
#include "imagerecord.h"
#include "sha256.h"

namespace {
const QByteArray primaries = "/dev/hdc1 : start= 2048, size= 8192, Id=83, bootable\n"
                             "/dev/hdc2 : start= 10240, size= 2048, Id=82\n"
                             "/dev/hdc3 : start= 12288, size= 36864, Id= f\n";
const QByteArray empty4 = "/dev/hdc4 : start= 0, size= 0, Id= 0\n";
const QByteArray logical5 = "/dev/hdc5 : start= 14336, size= 8192, Id=83\n";
const QByteArray whole = primaries + empty4 + logical5;
const QString wholeFacts = "hdc 1:2048+8192:83* 2:10240+2048:82 3:12288+36864:f 4:0+0:0 5:14336+8192:83";

QString Facts(const TableFile& file)
{
    QString facts = QString::fromStdString(file.disk);
    for (const TableLine& line : file.lines) {
        facts += QString(" %1:%2+%3:%4%5")
                     .arg(line.number)
                     .arg(line.start)
                     .arg(line.size)
                     .arg(line.type, 0, 16)
                     .arg(line.bootable ? "*" : "");
    }
    return facts;
}

QString FactsOf(const std::string& text)
{
    QString facts;
    const QString complaint = Complaint([&] {
        facts = Facts(TableFile::Parse(text, "/set/x.sf"));
    });
    return complaint.isEmpty() ? facts : complaint;
}

QByteArray With(QByteArray text, const char* before, const char* after)
{
    return text.replace(before, after);
}

TableFile Sealed()
{
    TableFile file;
    file.disk = "nvme0n1";
    file.saved = "2026-03-02T11:22:33Z";
    file.model = "A model: with a colon";
    file.diskBytes = 1ULL << 60;
    file.sectorBytes = 4096;
    file.lines = {{1, 1ULL << 50, 1ULL << 40, 0xef, true}, {128, 6, 1, 0x82, false}};
    file.warnings = {"one: two", "in \xc3\xa4 line\n# complete: sha256 0"};
    file.swaps = {{128, "01234567-89ab-cdef-0123-456789abcdef", std::string("a \"b\"\n\xff: #", 11)}, {1, "u", ""}};
    file.native = "label: gpt\n\n/dev/nvme0n1p1 : start=1, size=2, name=\" : start= 5, size= 5, type=83\"\n";
    file.raw = {{0, std::string(512, 'x')}, {1ULL << 59, std::string("\0\n# \xff", 5)}};
    return file;
}
} // namespace

class TableFileTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsFilesOfOtherMakers_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("answer");
        const auto row = [](const char* name, const QByteArray& text, const QString& answer) {
            QTest::newRow(name) << text << answer;
        };
        row("accepted", "# partition table of /dev/hdc\nunit: sectors\n\n" + whole, wholeFacts);
        row("CRLF", With(whole, "\n", "\r\n"), wholeFacts);
        row("type=", With(whole, "Id=", "type="), wholeFacts);
        row("wide blanks", With(whole, "= ", "=          "), wholeFacts);
        row("decimal", With(whole, "2048, size= 8192", "0002048, size= 0008192"), wholeFacts);
        row("decimal that octal can't be", With(primaries + empty4, "36864", "0409608"),
            "hdc 1:2048+8192:83* 2:10240+2048:82 3:12288+409608:f 4:0+0:0");
        row("of the whole disk", "/dev/hdc : start= 0, size= 50, Id= 0\n", "hdc 0:0+50:0");
        row("name that ends in a digit", With(whole, "hdc", "nvme0n1p"), With(wholeFacts.toUtf8(), "hdc", "nvme0n1"));
        const auto damaged = [](const char* name, const QByteArray& text, const char* reason) {
            QTest::newRow(name) << text << QString("65 /set/x.sf: ") + reason;
        };
        damaged("empty", "", "the file is empty");
        damaged("no table", "# nothing\n", "the line of partition 1 is missing");
        damaged("garbage", QByteArray("\x7f\0\1\2/\xff\n", 7), "the line of partition 1 is missing");
        damaged("cut in a line", whole.left(whole.size() - 1), "the last line is cut");
        damaged("cut between lines", primaries, "the line of partition 4 is missing");
        damaged("doubled", whole + logical5, "the line of partition 5 is doubled or out of order");
        damaged("out of order", primaries + logical5 + empty4, "the line of partition 4 is missing");
        damaged("another disk", whole + With(logical5, "hdc5", "hdd6"), "not a partition of the disk hdc");
        damaged("overlap", With(whole, "2048, size= 8192", "2048, size= 8193"),
            "the table does not fit a disk: partitions 1 and 2 overlap");
        damaged("logical overlap", whole + "/dev/hdc6 : start= 22527, size= 9, Id=83\n",
            "the table does not fit a disk: partitions 5 and 6 overlap");
        damaged("logical outside", With(whole, "14336, size= 8192", "14336, size= 34817"),
            "partition 5 is not inside the extended");
        damaged("logical on its record", With(whole, "start= 14336", "start= 12288"),
            "partition 5 is not inside the extended");
        damaged("logical without extended", With(whole, "Id= f", "Id=83"), "partition 5 is not inside the extended");
        damaged("two extended", With(whole, "Id=82", "Id=85"), "it names two extended");
        row("protective", With(whole, "Id=82", "Id=ee"), "75 /set/x.sf: it names a GPT but does not hold it");
        damaged("20,000 lines", whole.repeated(4000), "it names more than 64 partitions");
        damaged("native without seal", "# native: label: dos\n" + whole + "# native: x\n",
            "the partition table in it is cut");
        const std::vector<std::pair<const char*, const char*>> changes
            = {{"8192", "18446744073709551616"}, {"8192", "18446744073709551615"}, {"= 8192", "= -8192"},
                {"= 8192", "= 0x20"}, {"Id=82", "Id=182"}, {"Id=82", "Id=82, wide"}, {"hdc1", "../hdc1"},
                {"Id=83", "type=0FC63DAF-8483-4772-8E79-3D69D8477DE4, name=\" : start= 5, size= 5, type=83\""}};
        for (const auto& [before, after] : changes)
            damaged(after, With(whole, before, after), "not a partition line: ");
    }

    void readsFilesOfOtherMakers()
    {
        QFETCH(QByteArray, text);
        QFETCH(QString, answer);
        const QString got = FactsOf(text.toStdString());
        QVERIFY2(answer.startsWith("hdc") || answer.startsWith("nvme") ? got == answer : got.startsWith(answer),
            qPrintable(got.left(500)));
    }

    void comesBackAsItWas()
    {
        TableFile before = Sealed();
        const TableFile after = TableFile::Parse(before.Text(), "x");
        QCOMPARE(Facts(after), Facts(before));
        const auto heading = [](const TableFile& file) {
            return std::tie(file.saved, file.model, file.seal, file.diskBytes, file.sectorBytes, file.native);
        };
        QVERIFY(heading(after) == heading(before));
        const std::vector<std::string> warnings = {"one: two", "in \xc3\xa4 line\\012# complete: sha256 0"};
        QVERIFY(after.warnings == warnings);
        QVERIFY(after.swaps.size() == 2 && after.raw.size() == 2);
        for (size_t i = 0; i < 2; ++i) {
            QVERIFY(after.swaps[i].number == before.swaps[i].number && after.swaps[i].uuid == before.swaps[i].uuid);
            QVERIFY(after.swaps[i].label == before.swaps[i].label);
            QVERIFY(after.raw[i].offset == before.raw[i].offset && after.raw[i].bytes == before.raw[i].bytes);
        }
        QVERIFY(after.Find(128) != nullptr && after.Find(128)->start == 6 && after.Find(2) == nullptr);
        // Sealed ones may name no partition at all, or a disk whose own name looks like a partition's.
        TableFile disk;
        disk.disk = "loop1";
        disk.lines = {{0, 0, 99, 0, false}};
        QCOMPARE(FactsOf(disk.Text()), QString("loop1 0:0+99:0"));
        disk.lines.clear();
        QVERIFY(FactsOf(disk.Text()).contains("no partition table in it"));
        // An area of raw bytes whose size is not that of what is packed.
        const QByteArray shorter("\0\0\0\4", 4), packed = qCompress("abc");
        const auto raw = [](int size, const QByteArray& bytes) {
            return "# raw: 0 " + std::to_string(size) + ' ' + bytes.toBase64().toStdString() + '\n';
        };
        const std::string name = "not the name of its disk", bytes = "the raw bytes in it are damaged";
        const std::vector<std::pair<std::string, std::string>> wrong
            = {{"# native: x\n# disk: a b\n", name}, {"/dev/b1 : start= 0, size= 0, Id= 0\n# disk: c\n", name},
                {raw(4, shorter + packed.mid(4)), bytes}, {raw(3, shorter + packed.mid(4)), bytes}};
        for (const auto& [text, complaint] : wrong) {
            const std::string sealed = text + "# complete: sha256 " + Sha256Of(text) + "\n";
            QVERIFY2(FactsOf(sealed).contains(QString::fromStdString(complaint)), text.substr(0, 80).c_str());
        }
    }

    void refusesWhatNoTableHas()
    {
        TableFile file = Sealed();
        file.raw = {2, {0, std::string(20U << 20, 'x')}};
        QCOMPARE(FactsOf(file.Text()).left(3), QString("nvm"));
        file.raw.push_back({0, "x"});
        QVERIFY(FactsOf(file.Text()).contains("more than belong to a table"));
        file = Sealed();
        file.lines.assign(1025, {1, 1, 1, 0x83, false});
        QVERIFY(FactsOf(file.Text()).contains("more than 1024 partitions"));
        file.lines.clear();
        for (int i = 0; i < 2049; ++i)
            file.native += "\n";
        QVERIFY(FactsOf(file.Text()).contains("more lines than any disk"));
        for (const char* length : {" table-length:32769", "table-length: 4294967295", "table-length: x"}) {
            file = Sealed();
            file.native += std::string(length) + "\n";
            QVERIFY2(FactsOf(file.Text()).contains("more entries than any disk"), length);
        }
    }

    void refusesEveryChange()
    {
        std::string text = Sealed().Text();
        for (size_t bit = 0; bit < text.size() * 8; ++bit) {
            text[bit / 8] ^= 1 << bit % 8;
            QVERIFY2(FactsOf(text).startsWith("65 "), qPrintable(QString("bit %1").arg(bit)));
            text[bit / 8] ^= 1 << bit % 8;
        }
        for (size_t size = 0; size < text.size(); ++size)
            QVERIFY2(FactsOf(text.substr(0, size)).startsWith("65 "), qPrintable(QString("cut at %1").arg(size)));
        QVERIFY(FactsOf(text + text).startsWith("65 ") && FactsOf(text + "\n").startsWith("65 "));
    }

    void keepsRecords()
    {
        const QTemporaryDir folder{Scratch()};
        ImageRecord record;
        record.content = "ext4";
        record.partitionBytes = 1ULL << 60;
        record.sha256 = std::string(64, 'a');
        record.partition = "hdc12";
        record.start = 7;
        record.state = "errors: a\nend";
        record.bad = {{4096, 512}, {1ULL << 59, 1}};
        const std::string path = NewFile(folder, "a.sum", record.Text());
        const ImageRecord read = ImageRecord::Read(path);
        QCOMPARE(read.state, std::string("errors: a\\012end"));
        QVERIFY(read.bad == record.bad && read.partition == record.partition && read.table == "none");
        QVERIFY(read.partitionBytes == record.partitionBytes && read.start == 7 && read.sha256 == record.sha256);
        const std::string text = record.Text();
        for (size_t size = 0; size < text.size() - 1; ++size) {
            NewFile(folder, "a.sum", text.substr(0, size));
            const QString complaint = Complaint([&] {
                ImageRecord::Read(path);
            });
            QVERIFY2(complaint.startsWith("65 "), qPrintable(QString("cut at %1").arg(size)));
        }
    }

    void understandsFileSystemTables()
    {
        const QTemporaryDir folder{Scratch()};
        const std::vector<DiskPartition> partitions = {{2, {}, {}}};
        const std::string byId = "/dev/disk/by-id/";
        std::string many;
        for (int i = 0; i < 5000; ++i)
            many += "/dev/sda1 / a\n";
        // lines; the root's subvolume; whether partition 2 of this disk is found for the last line
        const std::vector<std::tuple<std::string, std::string, bool>> tables
            = {{"/dev/sda2 / a subvol=/", "", true}, {"/dev/sda1 / a subvol=//@/b\n/dev/sda2 /c a", "/@/b", true},
                {"/dev/sdb1 / a\n/dev/sda2 /c a", "", false}, {byId + "a-part2 / a subvolid=5", "", true},
                {byId + std::string(99999, 'a') + "-part2 / a", "", true}, {many + "/dev/sda2 /c a", "", true}};
        for (const auto& [lines, subvolume, found] : tables) {
            const Fstab fstab = Fstab::Read(NewFile(folder, "fstab", lines + "\n"));
            QCOMPARE(fstab.RootSubvolume(), subvolume);
            for (const FstabEntry& entry : fstab.entries)
                QCOMPARE(fstab.Find(entry, partitions) != nullptr, found && &entry == &fstab.entries.back());
        }
    }

    void namesPartitions()
    {
        const std::vector<std::tuple<std::string, unsigned, std::string>> names = {{"hdc", 1, "hdc1"},
            {"hdc", 12, "hdc12"}, {"nvme0n1", 1, "nvme0n1p1"}, {"loop0", 15, "loop0p15"}, {"sdp", 1, "sdp1"}};
        for (const auto& [disk, number, partition] : names) {
            QCOMPARE(PartitionName(disk, number), partition);
            QCOMPARE(DiskName(partition, number), disk);
        }
        for (const char* wrong : {"hdc2", "1", "nvme0n2p", "hdc01", ""})
            QCOMPARE(DiskName(wrong, 1), std::string());
    }
};

QTEST_GUILESS_MAIN(TableFileTest)
#include "tablefiletest.moc"
