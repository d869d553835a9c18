// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "littleendian.h"
#include "madevolume.h"

#include <QRegularExpression>

#include <set>
#include <tuple>

namespace {
constexpr unsigned seed = 20261125;

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
} // namespace

class FatTest : public QObject, MadeVolume
{
    Q_OBJECT

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

private Q_SLOTS:
    void countsClustersOfFat()
    {
        for (const Made& made : fats) {
            const std::string path = Make(made.command, made.sectors * 512);
            const std::set<uint64_t> used = UseClusters(path, made, {0, 1});
            const std::vector<Twins> twins = TwinsOfFat(VolumeReader(path));
            QVERIFY(twins.size() == 1 && twins[0].first == made.firstFat * 512);
            QVERIFY(twins[0].second - twins[0].first == twins[0].bytes && twins[0].bytes == made.fatSectors * 512);
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
            QVERIFY2(QString::fromStdString(record.state).contains("it counts more space"), record.state.c_str());
            const std::string head = ImageVolumes(Files()).Head();
            QVERIFY(ImageHeader::Parse(head)->Fits(102400 * 512));
        }
    }
};

QTEST_GUILESS_MAIN(FatTest)
#include "fattest.moc"
