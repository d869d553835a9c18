// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "accounts.h"
#include "contents.h"
#include "diskimages.h"
#include "imagereader.h"
#include "imagewriter.h"
#include "littleendian.h"

#include <QElapsedTimer>
#include <QRegularExpression>

#include <set>
#include <tuple>

namespace {
constexpr unsigned seed = 20261125;
constexpr uint64_t mebibyte = 1U << 20;

/** A FAT as it was made, and where its parts lie, in sectors of 512 bytes. */
struct Made
{
    std::vector<std::string> command;
    uint64_t sectors;
    unsigned bits;
    uint64_t firstFat;
    uint64_t fatSectors;
    uint64_t firstCluster;
    uint64_t clusterSectors;
    uint64_t clusters;
};

const std::vector<Made> fats = {
    {{"mkfs.vfat", "-a", "-F", "12", "-s", "4"}, 16384, 12, 1, 12, 57, 4, 4081},
    {{"mkfs.vfat", "-a", "-F", "16", "-s", "4"}, 40960, 16, 1, 40, 113, 4, 10211},
    {{"mkfs.vfat", "-a", "-F", "32", "-s", "1"}, 102400, 32, 32, 788, 1608, 1, 100792},
};

void SetEntry(std::string& fat, uint64_t number, unsigned bits, uint64_t value)
{
    const uint64_t place = number * bits / 8;
    const unsigned size = (bits + 7) / 8;
    uint64_t old = LittleEndian(fat, place, size);
    const unsigned shift = number * bits % 8;
    const uint64_t mask = ((1ULL << bits) - 1) << shift;
    old = (old & ~mask) | (value << shift & mask);
    fat.replace(place, size, ToLittleEndian(old, size));
}

/** What a call says of why there is no account; nothing where there is one. */
template <class Call> QString Doubt(Call call)
{
    try {
        call();
    } catch (const NoAccount& none) {
        return none.what();
    }
    return {};
}
} // namespace

class AccountsTest : public QObject
{
    Q_OBJECT

    QTemporaryDir folder{Scratch()};

    std::string Make(const std::vector<std::string>& command, uint64_t bytes)
    {
        std::vector<std::string> whole = command;
        whole.push_back(NewFile(folder, "source", std::string(bytes, 'x')));
        Run(whole);
        return whole.back();
    }

    /** With clusters in use at random, also at both ends; gives their numbers, from 0. */
    std::set<uint64_t> UseClusters(const std::string& path, const Made& made, const std::vector<unsigned>& copies)
    {
        Chance chance(seed);
        const uint64_t bytes = made.fatSectors * 512;
        std::string fat = Content(path).substr(made.firstFat * 512, bytes);
        std::set<uint64_t> used = {0, 1, made.clusters - 1};
        while (used.size() < made.clusters / 2)
            used.insert(chance.Number(0, made.clusters - 1));
        for (const uint64_t cluster : used)
            SetEntry(fat, cluster + 2, made.bits, ~0ULL);
        for (const unsigned copy : copies)
            Put(path, fat, made.firstFat * 512 + copy * bytes);
        if (made.bits == 32)
            used.insert(0); // of the root folder
        return used;
    }

    static bool Agrees(const SpaceAccount& account, const Made& made, const std::set<uint64_t>& used)
    {
        const uint64_t blockSectors = account.BlockBytes() / 512;
        for (uint64_t sector = 0; sector < made.firstCluster + made.clusters * made.clusterSectors; ++sector) {
            const bool wanted
                = sector < made.firstCluster || used.count((sector - made.firstCluster) / made.clusterSectors) > 0;
            if (account.IsUsed(sector / blockSectors) != wanted)
                return false;
        }
        return account.Blocks() * blockSectors == made.firstCluster + made.clusters * made.clusterSectors;
    }

    /** No tool here makes one: header and allocation file by hand, in two extents. */
    std::string MakeHfsPlus(const std::set<uint64_t>& used)
    {
        constexpr uint64_t blocks = 40000;
        std::string volume(blocks * 512, 'x');
        const auto put = [&volume](uint64_t place, std::initializer_list<uint32_t> numbers) {
            for (const uint32_t number : numbers) {
                const std::string bytes = ToLittleEndian(number, 4);
                volume.replace(place, 4, {bytes.rbegin(), bytes.rend()});
                place += 4;
            }
        };
        volume.replace(1024, 512, 512, '\0').replace(1024, 8, {"H+\0\4\0\0\1\0", 8});
        put(1024 + 40, {512, blocks, static_cast<uint32_t>(blocks - used.size())});
        put(1024 + 112, {0, 5000, 0, 10, 100, 3, 50, 7});
        std::string bits(5120, '\0');
        for (const uint64_t block : used)
            bits[block / 8] = static_cast<char>(bits[block / 8] | 0x80 >> block % 8);
        volume.replace(100 * 512, 3 * 512, bits, 0, 3 * 512).replace(50 * 512, 7 * 512, bits, 3 * 512, 7 * 512);
        return NewFile(folder, "source", volume);
    }

    ImageFiles Files() const
    {
        return {folder.path().toStdString(), "hdc1", "s_1_hdc1.bz2"};
    }

    ImageRecord Save(const Device& device)
    {
        ImageRecord record;
        record.content = ProbeContents(device).type;
        StoreFile file(Files().NewImage());
        WriteImage(device, PlanSaving(device, record.content), file, record);
        record.sha256 = file.Prove();
        record.bytes = file.Size();
        file.PutInPlace(Files().Volume(0));
        return record;
    }

private Q_SLOTS:
    void countsClustersOfFat()
    {
        for (const Made& made : fats) {
            const std::string path = Make(made.command, made.sectors * 512);
            const std::set<uint64_t> used = UseClusters(path, made, {0, 1});
            QVERIFY(Agrees(AccountOfFat(VolumeReader(path)), made, used));
            // Bad clusters hold nothing.
            std::string fat = Content(path).substr(made.firstFat * 512, made.fatSectors * 512);
            SetEntry(fat, made.clusters + 1, made.bits, 0x0ffffff7);
            Put(path, fat, made.firstFat * 512);
            Put(path, fat, (made.firstFat + made.fatSectors) * 512);
            std::set<uint64_t> good = used;
            good.erase(made.clusters - 1);
            QVERIFY(Agrees(AccountOfFat(VolumeReader(path)), made, good));
            // One copy alone.
            SetEntry(fat, 9, made.bits, 0x777);
            Put(path, fat, (made.firstFat + made.fatSectors) * 512);
            QCOMPARE(Doubt([&] {
                AccountOfFat(VolumeReader(path));
            }),
                "its FATs differ");
        }
    }

    void readsTheActiveFat()
    {
        const Made& made = fats[2];
        const std::string path = Make(made.command, made.sectors * 512);
        const std::set<uint64_t> used = UseClusters(path, made, {1});
        Put(path, "\x81", 40);
        QVERIFY(Agrees(AccountOfFat(VolumeReader(path)), made, used));
        QVERIFY(TwinsOfFat(VolumeReader(path)).empty());
        Put(path, "\x82", 40);
        QVERIFY(Doubt([&] {
            AccountOfFat(VolumeReader(path));
        }).contains("a FAT that it does not have"));
    }

    void doubtsBootSectors()
    {
        const Made& made = fats[1];
        const std::string path = Make(made.command, made.sectors * 512);
        const std::string sector = Content(path).substr(0, 512);
        const std::vector<std::pair<size_t, std::string>> changes = {
            {11, {"\0\0", 2}}, // no sectors
            {11, {"\1\2", 2}},
            {13, {"\0", 1}}, // no clusters
            {13, "\x03"},
            {14, {"\0\0", 2}}, // a FAT in the boot sector
            {16, {"\0", 1}},
            {16, "\xff"}, // beyond its end
            {19, {"\1\0", 2}},
            {19, {"\0\0", 2}},
            {22, {"\x01\0", 2}}, // too short
            {22, {"\0\0", 2}},
        };
        for (const auto& [place, bytes] : changes) {
            Put(path, sector);
            Put(path, bytes, place);
            QVERIFY2(!Doubt([&, path = path] {
                AccountOfFat(VolumeReader(path));
            }).isEmpty(),
                qPrintable(QString::number(place)));
        }
    }

    /** Two readers that know nothing of each other: the imaging tool marks what is in use by the account, and saves no
     * more. */
    void agreesWithTheImagingTool()
    {
        const std::vector<std::tuple<std::vector<std::string>, uint64_t, SpaceAccount (*)(const VolumeReader&)>> cases
            = {
                {{"mkfs.exfat"}, 40 * mebibyte, AccountOfExfat},
                {{"mkfs.exfat", "-c", "512"}, 40 * mebibyte + 512, AccountOfExfat}, // a bitmap of many clusters
                {{"mkfs.exfat", "-c", "1M"}, 140 * mebibyte, AccountOfExfat},
                {{"mkntfs", "-q", "-F", "-Q"}, 40 * mebibyte + 512 * 7, AccountOfNtfs},
                {{"mkntfs", "-q", "-F", "-Q", "-c", "512"}, 20 * mebibyte, AccountOfNtfs},
                {{"mkntfs", "-q", "-F", "-Q", "-c", "65536"}, 400 * mebibyte, AccountOfNtfs},
            };
        for (const auto& [command, bytes, read] : cases) {
            const std::string path = Make(command, bytes);
            const SpaceAccount account = read(VolumeReader(path));
            const ImageRecord record = Save(Device::OfFile(path));
            QVERIFY2(record.state == "clean", record.state.c_str());
            const auto header = ImageHeader::Parse(ImageVolumes(Files()).Head());
            const uint64_t saved = header->DataBytes();
            const uint64_t used = account.UsedBlocks() * account.BlockBytes();
            QVERIFY2(saved >= used && saved - used <= 2 * account.BlockBytes(),
                qPrintable(QStringLiteral("%1 %2").arg(saved).arg(used)));
        }
    }

    void readsTheAllocationFile()
    {
        Chance chance(seed);
        std::set<uint64_t> used = {0, 1, 2, 39999};
        while (used.size() < 15000)
            used.insert(chance.Number(0, 39999));
        const std::string path = MakeHfsPlus(used);
        const SpaceAccount account = AccountOfHfsPlus(VolumeReader(path));
        for (uint64_t block = 0; block < 40000; ++block)
            QCOMPARE(account.IsUsed(block), used.count(block) == 1);
        Put(path, {"\0\0\0\6", 4}, 1024 + 112 + 28);
        QVERIFY(!Doubt([&] {
            AccountOfHfsPlus(VolumeReader(path));
        }).isEmpty());
    }

    void doubtsDamagedStructures()
    {
        const auto ntfs = Content(Make({"mkntfs", "-q", "-F", "-Q"}, 40 * mebibyte));
        const auto exfat = Content(Make({"mkfs.exfat"}, 40 * mebibyte));
        const uint64_t record = LittleEndian(ntfs, 48, 8) * 4096;
        const uint64_t bitmap = record + 6 * 1024;
        const uint64_t list = ntfs.find(std::string("\x10\0\0\0", 4), bitmap); // its first attribute
        const uint64_t heap = LittleEndian(exfat, 88, 4) * 512;
        const uint64_t root = heap + (LittleEndian(exfat, 96, 4) - 2) * 4096;
        const uint64_t entry = exfat.find('\x81', root);
        const uint64_t fat = LittleEndian(exfat, 80, 4) * 512;
        const std::string noBitmap = "\x01";
        const std::vector<std::tuple<std::string, uint64_t, std::string, QString>> cases = {
            {ntfs, 3, "NTFs", "boot sector"},
            {ntfs, 48, std::string(8, '\x7f'), "boot sector"},
            {ntfs, 64, {"\0", 1}, "boot sector"},
            {ntfs, record + 510, "!!", "damaged"},
            {ntfs, bitmap, "BAAD", "damaged"},
            {ntfs, bitmap + 4, "\xff\xff", "damaged"},
            {ntfs, bitmap + 1022, "!!", "damaged"},
            {ntfs, list, "\x20", "several pieces"},
            {ntfs, list, "\xff\xff\xff\xff", "no contents"},
            {exfat, 110, "\2", "more than one FAT"},
            {exfat, 108, "\xff", "boot sector"},
            {exfat, 88, "\1", "boot sector"},
            {exfat, 92, "\xff\xff\xff\x7f", "boot sector"},
            {exfat, 96, "\xff\xff\xff\x7f", "leads nowhere"},
            {exfat, entry, noBitmap, "no allocation bitmap"},
            {exfat, entry + 20, "\1", "leads nowhere"},
            {exfat, entry + 24, {"\1\0", 2}, "too short"},
        };
        for (const auto& [volume, place, bytes, words] : cases) {
            const std::string path = NewFile(folder, "source", volume);
            Put(path, bytes, place);
            const QString doubt = Doubt([&, isNtfs = volume == ntfs] {
                (isNtfs ? AccountOfNtfs : AccountOfExfat)(VolumeReader(path));
            });
            QVERIFY2(doubt.contains(words), qPrintable(QStringLiteral("%1: %2").arg(place).arg(doubt)));
        }
        // A root folder without an end that leads back to itself.
        const std::string path = NewFile(folder, "source", exfat);
        Put(path, std::string(4096, '\1'), root);
        Put(path, ToLittleEndian(LittleEndian(exfat, 96, 4), 4), fat + LittleEndian(exfat, 96, 4) * 4);
        QVERIFY(!Doubt([&] {
            AccountOfExfat(VolumeReader(path));
        }).isEmpty());
    }

    /** Whatever stands there: an account or a doubt, soon. */
    void survivesForeignBytes()
    {
        Chance chance(seed);
        const std::vector<std::tuple<std::string, std::vector<uint64_t>, SpaceAccount (*)(const VolumeReader&)>> cases
            = {
                {Content(Make({"mkntfs", "-q", "-F", "-Q"}, 4 * mebibyte)), {0, 4 * 4096, 4 * 4096 + 6 * 1024},
                    AccountOfNtfs},
                {Content(Make({"mkfs.exfat"}, 8 * mebibyte)), {0}, AccountOfExfat},
                {Content(Make(fats[0].command, 8 * mebibyte)), {0}, AccountOfFat},
                {Content(MakeHfsPlus({1, 2})), {1024}, AccountOfHfsPlus},
            };
        QElapsedTimer timer;
        timer.start();
        for (const auto& [volume, places, read] : cases) {
            const std::string path = NewFile(folder, "source", volume);
            for (int i = 0; i < 500; ++i) {
                const uint64_t place = places[chance.Number(0, places.size() - 1)];
                Put(path, chance.Bytes(chance.Number(1, 4)), place + chance.Number(0, 511));
                Doubt([&, read = read] {
                    read(VolumeReader(path));
                });
                Put(path, volume.substr(place, 1024), place);
            }
        }
        QVERIFY(timer.elapsed() < 60000);
    }

    /** The imaging tool counts the entries of a FAT12 wrongly, and knows the first FAT alone. */
    void savesWhatAnotherMapLacks()
    {
        for (const Made& made : fats) {
            const std::string path = Make(made.command, made.sectors * 512);
            UseClusters(path, made, {1});
            if (made.bits == 32)
                Put(path, "\x81", 40);
            else
                UseClusters(path, made, {0});
            const std::string before = Content(path);
            const ImageRecord record = Save(Device::OfFile(path));
            const bool lacks = QString::fromStdString(record.state)
                                   .contains(QRegularExpression("lacks [0-9]+ of the .*, all blocks"));
            QVERIFY2(made.bits == 16 ? record.state == "clean" : lacks, record.state.c_str());
            if (made.bits == 16)
                continue;
            const Device target = Device::OfFile(NewFile(folder, "target", std::string(before.size(), 'y')));
            ImageVolumes(Files()).WriteTo(target, record.sha256);
            QVERIFY(Content(target.path) == before);
        }
    }

    /** An image of it could not be written back onto a partition of this size. */
    void savesWhatCountsTooMuch()
    {
        for (const auto& [command, change, place] : std::vector<std::tuple<std::vector<std::string>, int, uint64_t>>{
                 {fats[2].command, 16, 32},
                 {{"mkfs.ext4", "-q", "-F", "-O", "^metadata_csum"}, 1, 1024 + 4},
             }) {
            const std::string path = Make(command, 102400 * 512);
            Put(path, ToLittleEndian(LittleEndian(Content(path), place, 4) + change, 4), place);
            const ImageRecord record = Save(Device::OfFile(path));
            QVERIFY2(QString::fromStdString(record.state).startsWith("it counts more space"), record.state.c_str());
            const std::string head = ImageVolumes(Files()).Head();
            QVERIFY(ImageHeader::Parse(head)->Fits(102400 * 512));
        }
    }
};

QTEST_GUILESS_MAIN(AccountsTest)
#include "accountstest.moc"
