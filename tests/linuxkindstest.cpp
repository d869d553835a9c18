// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "madevolume.h"

#include <QDir>
#include <QRegularExpression>

namespace {
constexpr unsigned seed = 20261125;

/** One bit of it becomes another. */
void Damage(const std::string& path, uint64_t place)
{
    std::string byte = VolumeReader(path).Bytes(place, 1);
    byte[0] = static_cast<char>(byte[0] ^ 1);
    Put(path, byte, place);
}
} // namespace

/** What file systems say of their own space, held against what their own tools and partclone make of them. */
class LinuxKindsTest : public QObject
{
    Q_OBJECT

    QTemporaryDir folder{Scratch()};
    Chance chance{seed};
    std::string image = folder.filePath("image").toStdString();

    std::string Tree()
    {
        const QDir tree(folder.filePath("tree"));
        if (!tree.exists()) {
            tree.mkpath(".");
            for (int i = 0; i < 30; ++i)
                Put(tree.filePath(QString::number(i)).toStdString(), chance.Bytes(chance.Number(1, 200000)));
        }
        return tree.path().toStdString();
    }

    /** @param make "SIZE COMMAND", with TREE for a folder to fill it from */
    void Make(const QString& make)
    {
        QStringList words = make.split(' ');
        const std::string size = words.takeFirst().toStdString();
        std::vector<std::string> command;
        for (const QString& word : words)
            command.push_back(word == "TREE" ? Tree() : word.toStdString());
        command.push_back(image);
        unlink(image.c_str());
        Run({"truncate", "-s", size, image});
        Run(command);
    }

    /** Of the second copy of Btrfs' root tree. */
    uint64_t PlaceOfCopy()
    {
        const uint64_t logical = VolumeReader(image).Number(65536 + 80, 8);
        const std::string told = Run({"btrfs-map-logical", "-l", std::to_string(logical), image});
        const size_t copy = told.find("mirror 2 logical");
        return std::stoull(told.substr(told.find("physical", copy) + 9));
    }

    QString WhyNot(const char* type)
    {
        return Doubt([this, type] {
            PlanSaving(Device::OfFile(image), type).account(VolumeReader(image));
        });
    }

private Q_SLOTS:
    void areThoseOfPartclone_data()
    {
        QTest::addColumn<QString>("type");
        QTest::addColumn<QString>("variant");
        const std::vector<std::pair<const char*, std::pair<const char*, const char*>>> rows = {
            {"20M mkfs.ext4 -qF -b 1024 -d TREE", {"ext4", "extfs"}},
            {"99M mkfs.ext4 -qF -b 2048 -O ^flex_bg -d TREE", {"ext4", "extfs"}},
            {"99M mkfs.ext4 -qF -b 4096 -g 512 -O ^64bit,^metadata_csum,uninit_bg -d TREE", {"ext4", "extfs"}},
            {"99M mkfs.ext4 -qF -b 4096 -g 512 -O sparse_super2 -d TREE", {"ext4", "extfs"}},
            {"99M mkfs.ext4 -qF -b 1024 -g 256 -O meta_bg,^resize_inode -d TREE", {"ext4", "extfs"}},
            {"99M mkfs.ext2 -qF -b 1024 -d TREE", {"ext2", "extfs"}},
            {"300M mkfs.xfs -q -d agcount=3", {"xfs", "xfs"}},
            {"300M mkfs.xfs -q -b size=1024 -m crc=0", {"xfs", "xfs"}},
            {"300M mkfs.xfs -q -b size=4096 -s size=4096 -m rmapbt=1", {"xfs", "xfs"}},
            {"300M mkfs.btrfs -qf -n 4096 --rootdir TREE", {"btrfs", "btrfs"}},
            {"300M mkfs.btrfs -qf -n 65536 -m single --csum xxhash --rootdir TREE", {"btrfs", "btrfs"}},
            {"128M mkfs.btrfs -qf -M -m single -d single --rootdir TREE", {"btrfs", "btrfs"}},
        };
        for (const auto& [make, kind] : rows)
            QTest::newRow(make) << kind.first << kind.second;
    }

    void areThoseOfPartclone()
    {
        QFETCH(QString, type);
        QFETCH(QString, variant);
        if (!HasCommand("partclone." + variant.toStdString()))
            QSKIP("partclone is not installed");
        Make(QTest::currentDataTag());
        const std::string map = folder.filePath("map").toStdString();
        unlink(map.c_str());
        Run({"partclone." + variant.toStdString(), "-D", "-L", map + ".log", "-s", image, "-o", map});
        const std::string told = Run({COMPAREMAP, type.toStdString(), image, map});
        unsigned long long used = 0, mapped = 0;
        QVERIFY2(sscanf(told.c_str(), "used: %llu, mapped: %llu", &used, &mapped) == 2, told.c_str());
        if (type != "btrfs") // of which partclone takes more than it has to, space between the chunks
            QCOMPARE(used, mapped);
        QVERIFY(used > 1000000);
    }

    /** Which partclone may refuse. */
    void countsClusters()
    {
        Make("99M mkfs.ext4 -qF -b 1024 -O bigalloc -C 16384 -d TREE");
        QCOMPARE(WhyNot("ext4"), QString()); // the account is held against the free count
    }

    void areNotToBeHadOfDamaged_data()
    {
        QTest::addColumn<QString>("make");
        QTest::addColumn<qulonglong>("place");
        QTest::addColumn<QString>("reason");
        const QString plain = "20M mkfs.ext4 -qF -b 1024 -N 1024 -O ^metadata_csum,^resize_inode,^flex_bg,^64bit";
        const QString summed = "20M mkfs.ext4 -qF -b 1024 -N 1024 -O metadata_csum,^resize_inode,^flex_bg,^64bit";
        const QString old = "20M mkfs.ext4 -qF -b 1024 -N 1024 -O ^metadata_csum,uninit_bg,^resize_inode,^64bit";
        QTest::newRow("ext4: magic") << plain << 1024ULL + 56 << "its superblock is damaged";
        QTest::newRow("ext4: free blocks") << plain << 1024ULL + 12 << "its superblock counts .*";
        QTest::newRow("ext4: free blocks of a group") << plain << 2048ULL + 32 + 12 << "group 1 counts .*";
        QTest::newRow("ext4: bitmap") << plain << 3072ULL << "group 0 counts .*";
        QTest::newRow("ext4: descriptor") << summed << 2048ULL + 32 + 20 << "the descriptor of group 1 .*";
        QTest::newRow("ext4: old descriptor") << old << 2048ULL + 32 + 20 << "the descriptor of group 1 .*";
        QTest::newRow("ext4: bitmap with a sum") << summed << 3072ULL + 1 << "the bitmap of group 0 .*";
        // Groups of 76800 blocks of 1 KiB, sectors of 512 bytes.
        const QString xfs = "300M mkfs.xfs -q -b size=1024 -m crc=0 -d agcount=4";
        const qulonglong group = 76800ULL * 1024;
        QTest::newRow("XFS: superblock") << xfs << 0ULL << "its superblock is damaged";
        QTest::newRow("XFS: free blocks") << xfs << 144ULL + 7 << "its superblock counts .*";
        QTest::newRow("XFS: second superblock") << xfs << group << "the superblock of allocation group 1 .*";
        QTest::newRow("XFS: AGF") << xfs << group + 512 + 11 << "the header of free space .* group 1 .*";
        QTest::newRow("XFS: free blocks of a group")
            << xfs << group + 512 + 55 << "the list of free space .* group 1 .*";
        QTest::newRow("XFS: longest") << xfs << group + 512 + 59 << "the list of free space .* group 1 .*";
        QTest::newRow("XFS: AGI") << xfs << group + 1024 + 15 << "the header of inodes .* group 1 .*";
        QTest::newRow("XFS: AGFL") << xfs << group + 1536 + 4 << "the spare list .* group 1 .*";
        const QString modern = "300M mkfs.xfs -q -b size=1024 -d agcount=4";
        // The second copies of the chunk tree, in the second half of the first pair of chunks, and of the root tree.
        const QString btrfs = "128M mkfs.btrfs -qf";
        QTest::newRow("btrfs: superblock") << btrfs << 65536ULL + 300 << "its superblock is damaged";
        QTest::newRow("btrfs: copy") << btrfs << 0ULL << "the copies of a tree of it differ";
        QTest::newRow("XFS 5: superblock") << modern << group + 300 << "the superblock of allocation group 1 .*";
        QTest::newRow("XFS 5: AGF") << modern << group + 512 + 300 << "the header of free space .* group 1 .*";
        QTest::newRow("XFS 5: AGI") << modern << group + 1024 + 400 << "the header of inodes .* group 1 .*";
        QTest::newRow("XFS 5: AGFL") << modern << group + 1536 + 300 << "the spare list .* group 1 .*";
        QTest::newRow("XFS 5: list") << modern << group + 2048 + 900 << "the list of free space .* group 1 .*";
    }

    void areNotToBeHadOfDamaged()
    {
        QFETCH(QString, make);
        QFETCH(qulonglong, place);
        QFETCH(QString, reason);
        const char* const type = make.contains("xfs") ? "xfs" : make.contains("btrfs") ? "btrfs" : "ext4";
        Make(make);
        QCOMPARE(WhyNot(type), QString());
        Damage(image, place == 0 && make.contains("btrfs") ? PlaceOfCopy() : place);
        const QString why = WhyNot(type);
        QVERIFY2(QRegularExpression("^(" + reason + ")$").match(why).hasMatch(), qPrintable(why));
    }

    void logsOnOtherDevices()
    {
        Run({"truncate", "-s", "100M", image + ".log"});
        Make("300M mkfs.xfs -q -l size=64m,logdev=" + QString::fromStdString(image) + ".log");
        QCOMPARE(PlanSaving(Device::OfFile(image), "xfs").state, std::string("more than one device, all blocks"));
    }
};

QTEST_GUILESS_MAIN(LinuxKindsTest)
#include "linuxkindstest.moc"
