// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "blockreader.h"
#include "contents.h"
#include "diskimages.h"
#include "imagereader.h"
#include "imagewriter.h"
#include "process.h"
#include "tablewriter.h"
#include "writeguard.h"

#include <QDir>
#include <QElapsedTimer>
#include <QStandardPaths>

#include <csignal>

#include <sys/mount.h>
#include <sys/wait.h>

namespace {
constexpr unsigned seed = 20261102;
constexpr uint64_t mebibyte = 1U << 20;

// In the superblock of an ext4.
constexpr uint64_t stateOffset = 1024 + 58;
constexpr uint64_t incompatibleOffset = 1024 + 96;

/** A tmpfs of that size in place of a folder, as long as this object lives. */
class SmallMedium
{
public:
    SmallMedium(const QString& path, const char* options)
        : path(path.toStdString())
    {
        if (mount("tmpfs", this->path.c_str(), "tmpfs", 0, options) != 0)
            qFatal("%s: no tmpfs", this->path.c_str());
    }
    ~SmallMedium()
    {
        umount2(path.c_str(), MNT_DETACH);
    }

private:
    std::string path;
};

/** Whether the process runs; one that waits for its parent to take note of its end doesn't. */
bool Runs(const QByteArray& pid)
{
    QFile commandLine("/proc/" + pid + "/cmdline");
    return commandLine.open(QIODevice::ReadOnly) && !commandLine.readAll().isEmpty();
}

QByteArray Trimmed(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll().trimmed() : QByteArray();
}

/** Runs `work` in a process of its own, which ends by it or with the status 1. */
template <class Work> pid_t Fork(Work work)
{
    const pid_t pid = fork();
    if (pid == 0) {
        try {
            work();
        } catch (const Interrupted& interrupted) {
            _exit(128 + interrupted.signal);
        }
        _exit(1);
    }
    return pid;
}
} // namespace

class ImagingTest : public QObject
{
    Q_OBJECT

    QTemporaryDir folder{Scratch()};

    std::string Path(const QString& name) const
    {
        return folder.filePath(name).toStdString();
    }

    ImageFiles Files() const
    {
        return {folder.path().toStdString(), "hdc1", "s_1_hdc1.bz2"};
    }

    /** An ext4 whose free blocks hold old data, with a file of `data` in it. */
    Device NewExt4(Chance& chance, const std::string& data)
    {
        const std::string path = NewFile(folder, "source", chance.Bytes(8 * mebibyte));
        // Without checksums, so that the tests can change the superblock by hand.
        Run({"mkfs.ext4", "-q", "-F", "-O", "^metadata_csum", "-E", "nodiscard", path});
        Run({"debugfs", "-w", "-R", "write " + NewFile(folder, "data", data) + " file", path});
        return Device::OfFile(path);
    }

    /** Into one volume, and its record. */
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

    Device Restore(const ImageFiles& files, const ImageRecord& record, const std::string& before)
    {
        const Device target = Device::OfFile(NewFile(folder, "target", before));
        const ImageVolumes volumes(files);
        volumes.CheckRecord(record);
        volumes.WriteTo(target, record.sha256);
        return target;
    }

private Q_SLOTS:
    void initTestCase()
    {
        // partclone writes over devices alone unless it is asked for the rest with these options.
        QVERIFY(folder.isValid() && QDir(folder.path()).mkdir("bin"));
        const std::string real = QStandardPaths::findExecutable("partclone.restore").toStdString();
        Put(Path("bin/partclone.restore"), "#!/bin/bash\nexec " + real + " -C \"${@/#-o/-O}\"\n");
        QVERIFY(QFile::setPermissions(folder.filePath("bin/partclone.restore"), QFile::ReadOwner | QFile::ExeOwner));
        qputenv("PATH", folder.filePath("bin").toUtf8() + ":" + qgetenv("PATH"));
    }

    void init()
    {
        for (const QString& name : QDir(folder.path()).entryList(QDir::Files))
            QFile::remove(folder.filePath(name));
    }

    void savesUsedBlocks()
    {
        Chance chance(seed);
        const std::string data = chance.Bytes(3 * mebibyte + 5);
        const Device source = NewExt4(chance, data);
        const SmallMedium full("/tmp", "size=4k");
        Put("/tmp/full", std::string(4096, 'x'));
        const ImageRecord record = Save(source);
        QCOMPARE(record.state, std::string("clean"));
        QVERIFY(record.bad.empty() && record.bytes < 5 * mebibyte);
        const std::string before = chance.Bytes(source.bytes);
        const Device target = Restore(Files(), record, before);
        Run({"e2fsck", "-fn", target.path});
        Run({"debugfs", "-R", "dump file " + Path("dumped"), target.path});
        QVERIFY(Content(Path("dumped")) == data);
        const std::string after = Content(target.path);
        QCOMPARE(after.size(), size_t{source.bytes});
        QVERIFY(after.substr(after.size() - mebibyte) == before.substr(before.size() - mebibyte)); // free blocks
    }

    void savesAllBlocks_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("state");
        QTest::newRow("journal to be played back") << 0 << "unclean, all blocks";
        QTest::newRow("not unmounted") << 1 << "unclean, all blocks";
        QTest::newRow("errors") << 2 << "errors are flagged, all blocks";
        QTest::newRow("unknown") << 3 << "unknown content, all blocks";
        QTest::newRow("size of odd sectors") << 4 << "unknown content, all blocks";
        QTest::newRow("swap") << 5 << "partclone does not know swap, all blocks";
    }

    void savesAllBlocks()
    {
        QFETCH(int, kind);
        QFETCH(QString, state);
        Chance chance(seed);
        Device source;
        if (kind < 3) {
            source = NewExt4(chance, "data");
            if (kind == 0) {
                const std::string flags = Content(source.path).substr(incompatibleOffset, 1);
                Put(source.path, {static_cast<char>(flags[0] | 4)}, incompatibleOffset);
            } else {
                Put(source.path, kind == 1 ? std::string(1, '\0') : std::string(1, '\3'), stateOffset);
            }
        } else {
            source = Device::OfFile(
                NewFile(folder, "source", chance.Bytes(kind == 4 ? 3 * mebibyte + 7 * 512 : 3 * mebibyte)));
            if (kind == 5)
                Run({"mkswap", "-q", source.path});
        }
        const std::string before = Content(source.path);
        QCOMPARE(QString::fromStdString(PlanSaving(source, ProbeContents(source).type).state), state);
        if (kind != 0 && kind != 4)
            return; // as these
        const ImageRecord record = Save(source);
        QCOMPARE(QString::fromStdString(record.state), state);
        QVERIFY(Content(source.path) == before);
        QVERIFY(Content(Restore(Files(), record, chance.Bytes(before.size())).path) == before);
    }

    void savesAllBlocksOfWhatPartcloneDeclines()
    {
        Chance chance(seed);
        const Device source = NewExt4(chance, "data");
        Run({"mkfs.ext4", "-q", "-F", "-O", "bigalloc", source.path});
        const std::string before = Content(source.path);
        const ImageRecord record = Save(source);
        const QString state = QString::fromStdString(record.state);
        QVERIFY2(state.startsWith("partclone.extfs: ") && state.endsWith(", all blocks"), qPrintable(state));
        QVERIFY(Content(Restore(Files(), record, chance.Bytes(before.size())).path) == before);
    }

    void refusesDamagedImages()
    {
        Chance chance(seed);
        const Device source = NewExt4(chance, chance.Bytes(mebibyte));
        const ImageRecord record = Save(source);
        const std::string image = Content(Files().Volume(0));
        const std::string before = chance.Bytes(source.bytes);
        const auto complaint = [&] {
            return Complaint([&] {
                Restore(Files(), record, before);
            });
        };
        std::string bad = image;
        bad[bad.size() / 2] ^= 1;
        NewFile(folder, "s_1_hdc1.bz2.000", bad);
        QVERIFY(complaint().startsWith("65 ") && complaint().contains("its hash is not the recorded one"));
        NewFile(folder, "s_1_hdc1.bz2.000", image.substr(0, image.size() - 1));
        QVERIFY(complaint().startsWith("65 ") && complaint().contains("the image is not whole"));
        QVERIFY(Complaint([&] {
            const ImageVolumes volumes(Files());
            volumes.CheckInFull(volumes.Head());
        }).startsWith("65 "));
        NewFile(folder, "s_1_hdc1.bz2.000", image.substr(0, 1000));
        NewFile(folder, "s_1_hdc1.bz2.002", image.substr(2000));
        QVERIFY(complaint().contains("s_1_hdc1.bz2.001: this volume of the image is missing"));
        QVERIFY(Content(Path("target")) == before);
        NewFile(folder, "s_1_hdc1.bz2.001", image.substr(1000, 1000));
        QCOMPARE(complaint(), QString());
        ImageRecord other = record;
        other.sha256[0] ^= 1;
        QVERIFY(Complaint([&] {
            ImageVolumes(Files()).WriteTo(source, other.sha256);
        }).contains("read differently"));
    }

    void goesOnAtAnyByte()
    {
        Chance chance(seed);
        Device device = NewExt4(chance, chance.Bytes(mebibyte));
        const std::string stream
            = Run({"partclone.extfs", "-c", "-q", "-a", "0", "-L", "/dev/null", "-s", device.path, "-o", "-"});
        const ImageHeader header = ImageHeader::Parse(stream).value();
        const std::string bits = stream.substr(ImageHeader::length, header.DataOffset() - ImageHeader::length);
        QCOMPARE(stream.size(), size_t{header.DataOffset() + header.DataBytes()});
        std::vector<uint64_t> places
            = {0, 1, 511, header.blockBytes - 1, header.blockBytes, header.DataBytes() - 1, header.DataBytes()};
        for (int i = 0; i < 50; ++i)
            places.push_back(chance.Number(0, header.DataBytes()));
        const auto readFrom = [&](uint64_t place, std::vector<std::pair<uint64_t, uint64_t>>& bad) {
            BlockReader reader(device, header, bits, place);
            std::string bytes;
            for (std::string next = reader.Next(); !next.empty(); next = reader.Next())
                bytes += next;
            bad = reader.bad;
            return bytes;
        };
        std::vector<std::pair<uint64_t, uint64_t>> bad;
        for (const uint64_t place : places) {
            QVERIFY2(
                readFrom(place, bad) == stream.substr(header.DataOffset() + place), qPrintable(QString::number(place)));
            QVERIFY(bad.empty());
        }
        // A cut file stands for a disk that can't be read from there on.
        const uint64_t cut = device.bytes - 512 * 3;
        QCOMPARE(truncate(device.path.c_str(), static_cast<off_t>(cut)), 0);
        const std::string all(header.blocks, '\xff');
        const ImageHeader whole = {device.bytes, header.blocks, header.blocks, header.blockBytes, false};
        BlockReader reader(device, whole, all, 0);
        std::string bytes;
        for (std::string next = reader.Next(); !next.empty(); next = reader.Next())
            bytes += next;
        QVERIFY(bytes == Content(device.path) + std::string(512 * 3, '\0'));
        QVERIFY(reader.bad == (std::vector<std::pair<uint64_t, uint64_t>>{{cut, 512 * 3}}));
    }

    void savesWhatCanBeRead()
    {
        Chance chance(seed);
        const std::string data = chance.Bytes(5 * mebibyte);
        const Device device = NewExt4(chance, data);
        const std::string before = Content(device.path);
        const uint64_t cut = 4 * mebibyte + 512;
        QCOMPARE(truncate(device.path.c_str(), static_cast<off_t>(cut)), 0);
        const ImageRecord record = Save(device);
        QVERIFY(!record.bad.empty());
        QCOMPARE(record.bad.front().first, cut);
        const std::string after = Content(Restore(Files(), record, std::string(device.bytes, '\0')).path);
        Run({"debugfs", "-R", "dump file " + Path("dumped"), Path("target")});
        const std::string dumped = Content(Path("dumped"));
        QVERIFY(dumped.size() == data.size() && dumped.substr(0, mebibyte) == data.substr(0, mebibyte));
        QVERIFY(after.substr(cut, 512) == std::string(512, '\0'));
    }

    void restoresSetsOfEarlierVersions_data()
    {
        QTest::addColumn<QString>("partition");
        QTest::addColumn<QString>("hash");
        QTest::newRow("ext4") << "hdc1"
                              << "af61e26f796513e75df79c00cce02667e022e85a1dde785820ada83634920b3a";
        QTest::newRow("vfat") << "hdc5"
                              << "38a1c8e7173baac5d31fd1aee1f78e44631872b0d92f3b784b055037c74fabb6";
        QTest::newRow("extended") << "hdc3"
                                  << "";
    }

    void restoresSetsOfEarlierVersions()
    {
        QFETCH(QString, partition);
        QFETCH(QString, hash);
        const std::string set = TEST_DATA "/old/20261101";
        const ImageFiles files(set, partition.toStdString(), "old_20261101_" + partition.toStdString() + ".bz2");
        const TableFile table = TableFile::Read(files.Table("hdc"));
        std::string bootSector = Content(set + "/old_20261101_hdc.mbr");
        bootSector.replace(447, 3, "\1\2\3"); // cylinder numbers that libfdisk would set otherwise
        const Device disk = Device::OfFile(NewFile(folder, "disk", std::string(table.diskBytes, '\0')));
        const TablePlace place = {disk.path, disk.bytes, 512};
        Put(disk.path, bootSector);
        WriteTable(table, place, bootSector);
        QVERIFY(Content(disk.path).substr(0, 512) == bootSector);
        QCOMPARE(ReadDiskTable(place).Comparable(), ComparableNative(table.native));
        const ImageVolumes volumes(files);
        const ImageRecord record = ImageRecord::Read(files.Record());
        volumes.CheckRecord(record);
        QCOMPARE(Complaint([&] {
            volumes.CheckInFull(volumes.Head());
        }),
            QString());
        if (hash.isEmpty()) {
            QCOMPARE(volumes.Head(), std::string(extendedNote));
            return;
        }
        QCOMPARE(QString::fromStdString(
                     Sha256Of(Content(Restore(files, record, std::string(record.partitionBytes, '\0')).path))),
            hash);
    }

    void storesWholeFilesOnly()
    {
        Chance chance(seed);
        const QString medium = folder.filePath("medium");
        QDir().mkdir(medium);
        const SmallMedium small(medium, "size=512k");
        const std::string place = medium.toStdString() + "/image";
        Put(place, "old");
        const auto names = [&medium] {
            return QDir(medium).entryList(QDir::Files).join(' ');
        };
        {
            StoreFile file(place + ".new");
            file.Write("half", 4);
            QCOMPARE(file.Prove(), Sha256Of("half"));
        }
        QCOMPARE(names(), QString("image"));
        QCOMPARE(Content(place), std::string("old"));
        const Device source = Device::OfFile(NewFile(folder, "source", chance.Bytes(3 * mebibyte)));
        bool noRoom = false;
        try {
            StoreFile file(place + ".new");
            ImageRecord record;
            WriteImage(source, {}, file, record);
        } catch (const NoRoom& failure) {
            noRoom = QString(failure.what()).contains("no room left on the medium");
        }
        QVERIFY(noRoom);
        QCOMPARE(names(), QString("image"));
        {
            StoreFile file(place + ".new");
            file.Write("new", 3);
            Put(place + ".new", "x"); // a medium that doesn't keep what was written
            QVERIFY(Complaint([&] {
                file.Prove();
            }).contains("reads back differently"));
        }
        StoreFile file(place + ".new");
        file.Write("new", 3);
        file.Prove();
        file.PutInPlace(place);
        QCOMPARE(names(), QString("image"));
        QCOMPARE(Content(place), std::string("new"));
    }

    void clearsWhatIsHalfWritten_data()
    {
        QTest::addColumn<int>("signal");
        QTest::addColumn<QString>("left");
        QTest::newRow("killed") << SIGKILL << "unknown";
        QTest::newRow("failed") << 0 << "unknown";
        QTest::newRow("done") << -1 << "ext4";
    }

    void clearsWhatIsHalfWritten()
    {
        QFETCH(int, signal);
        QFETCH(QString, left);
        Chance chance(seed);
        const Device device = NewExt4(chance, "data");
        const pid_t child = Fork([&] {
            WriteGuard guard(device);
            if (signal < 0)
                guard.Done();
            else if (signal > 0)
                kill(getpid(), signal);
        });
        waitpid(child, nullptr, 0);
        QTRY_COMPARE(QString::fromStdString(ProbeContents(device).type), left);
        if (signal == 0)
            QVERIFY(Content(device.path).substr(1024 + 56, 2) == std::string(2, '\0'));
    }

    void tellsHowStagesEnd_data()
    {
        QTest::addColumn<QStringList>("command");
        QTest::addColumn<QString>("words");
        const auto row = [](const char* name, const QStringList& command, const QString& words) {
            QTest::newRow(name) << command << words;
        };
        row("succeeds", {"true"}, "");
        row("fails with a word",
            {"sh", "-c", "echo first >&2; echo ' no disk' >&2; echo 'Please check log' >&2; exit 3"}, "no disk");
        row("fails without a word", {"sh", "-c", "exit 3"}, "sh ended with status 3");
        row("killed", {"sh", "-c", "kill -9 $$"}, "sh was ended by signal 9");
        row("not there", {"no-such-program"}, "no-such-program cannot be started: No such file or directory");
        row("says more than is kept",
            {"sh", "-c", "head -c 999999 /dev/zero | tr '\\0' x >&2; printf '\\nend\\n' >&2; exit 1"}, "end");
        row("leaves one behind", {"sh", "-c", "sleep 5 & exit 1"}, "sh ended with status 1");
    }

    void tellsHowStagesEnd()
    {
        QFETCH(QStringList, command);
        QFETCH(QString, words);
        std::vector<std::string> list;
        for (const QString& word : command)
            list.push_back(word.toStdString());
        QElapsedTimer timer;
        timer.start();
        Pipeline pipeline;
        pipeline.Start({"sleep", "0.1"});
        pipeline.Start(list);
        const std::vector<StageEnd> ends = pipeline.Finish();
        QVERIFY(ends[0].Succeeded());
        QCOMPARE(ends[1].Succeeded() ? QString() : QString::fromStdString(ends[1].LastWords()), words);
        QVERIFY(ends[1].said.size() < 65536);
        QVERIFY(timer.elapsed() < 4000);
    }

    void leavesNoProcess_data()
    {
        QTest::addColumn<int>("signal");
        QTest::newRow("asked to end") << SIGTERM;
        QTest::newRow("interrupted") << SIGINT;
        QTest::newRow("killed") << SIGKILL;
    }

    void leavesNoProcess()
    {
        QFETCH(int, signal);
        const pid_t child = Fork([&] {
            StopRequest::Watch();
            Pipeline pipeline;
            pipeline.Start({"sh", "-c", "trap '' TERM INT; echo $$ > " + Path("pid") + "; exec sleep 100"});
            pipeline.Finish();
        });
        QTRY_VERIFY(!Trimmed(folder.filePath("pid")).isEmpty());
        const QByteArray stage = Trimmed(folder.filePath("pid"));
        QTRY_VERIFY(Runs(stage));
        QElapsedTimer timer;
        timer.start();
        kill(child, signal);
        int status = 0;
        waitpid(child, &status, 0);
        QVERIFY(WIFSIGNALED(status) ? signal == SIGKILL : WEXITSTATUS(status) == 128 + signal);
        QTRY_VERIFY(!Runs(stage));
        QVERIFY(timer.elapsed() < 1000);
    }
};

QTEST_GUILESS_MAIN(ImagingTest)
#include "imagingtest.moc"
