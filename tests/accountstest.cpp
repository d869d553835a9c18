// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "littleendian.h"
#include "madevolume.h"

#include <QElapsedTimer>

#include <set>
#include <tuple>

namespace {
constexpr unsigned seed = 20261125;
constexpr uint64_t mebibyte = 1U << 20;
} // namespace

class AccountsTest : public QObject, MadeVolume
{
    Q_OBJECT

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

private Q_SLOTS:
    /** Two readers that know nothing of each other: the imaging tool marks what is in use by the account, and saves no
     * more. */
    void agreesWithTheImagingTool()
    {
        const std::vector<std::tuple<std::vector<std::string>, uint64_t, SpaceAccount (*)(const VolumeReader&)>> cases
            = {
                {{"mkfs.exfat"}, 40 * mebibyte, AccountOfExfat},
                {{"mkfs.exfat", "-c", "512"}, 40 * mebibyte + 512, AccountOfExfat}, // a bitmap of many clusters
                {{"mkfs.exfat", "-c", "1M"}, 140 * mebibyte, AccountOfExfat},
                {{"mkfs.exfat", "-c", "128K", "-b", "64K"}, 40 * mebibyte, AccountOfExfat}, // clusters begin anywhere
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
            QVERIFY2(saved == used, qPrintable(QStringLiteral("%1 %2").arg(saved).arg(used)));
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

    /** The second piece lies before the first. */
    void readsABitmapInTwoPieces()
    {
        const std::string path = Make({"mkntfs", "-q", "-F", "-Q", "-c", "512"}, 20 * mebibyte);
        const SpaceAccount before = AccountOfNtfs(VolumeReader(path));
        const std::string volume = Content(path);
        const uint64_t record = LittleEndian(volume, 48, 8) * 512 + 6 * 1024;
        const uint64_t list = volume.find({"\x21\x0a", 2}, record); // ten clusters, and two bytes for the first one
        const uint64_t first = LittleEndian(volume, list + 2, 2);
        QVERIFY(list < record + 500 && volume[list + 4] == '\0');
        Put(path, volume.substr((first + 4) * 512, 6 * 512), (first - 100) * 512);
        Put(path, std::string(6 * 512, '\xff'), (first + 4) * 512);
        Put(path, "\x21\x04", list);
        Put(path, {"\x11\x06\x9c\0", 4}, list + 4);
        const SpaceAccount after = AccountOfNtfs(VolumeReader(path));
        for (uint64_t block = 0; block < before.Blocks(); ++block)
            QCOMPARE(after.IsUsed(block), before.IsUsed(block));
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

    /** The imaging tool passes over the last two clusters of any exFAT. */
    void knowsTheLastClusters()
    {
        const std::string path = Make({"mkfs.exfat", "-c", "1M"}, 40 * mebibyte);
        const std::string volume = Content(path);
        const uint64_t clusters = LittleEndian(volume, 92, 4);
        Put(path, {static_cast<char>(1 << (clusters - 1) % 8)}, LittleEndian(volume, 88, 4) * 512 + (clusters - 1) / 8);
        QCOMPARE(Save(Device::OfFile(path)).state.substr(0, 28), std::string("partclone's map lacks 1 of t"));
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
                {Content(Make({"mkfs.vfat", "-a", "-F", "12", "-s", "4"}, 8 * mebibyte)), {0}, AccountOfFat},
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
};

QTEST_GUILESS_MAIN(AccountsTest)
#include "accountstest.moc"
