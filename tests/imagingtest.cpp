// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "blockreader.h"
#include "madevolume.h"
#include "process.h"

#include <csignal>

#include <QDir>
#include <QElapsedTimer>
#include <QStandardPaths>

namespace {
constexpr unsigned seed = 20261102;
constexpr uint64_t mebibyte = 1U << 20;

constexpr uint64_t stateOffset = 1024 + 58; // in the superblock of an ext4
constexpr uint64_t incompatibleOffset = 1024 + 96;
} // namespace

class ImagingTest : public QObject, MadeVolume
{
    Q_OBJECT

    std::string Path(const QString& name) const
    {
        return folder.filePath(name).toStdString();
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

    Device Restore(const ImageRecord& record, const std::string& before)
    {
        const Device target = Device::OfFile(NewFile(folder, "target", before));
        const ImageVolumes volumes(Files());
        volumes.CheckRecord(record);
        volumes.WriteTo(target, record.sha256);
        return target;
    }

private Q_SLOTS:
    void initTestCase()
    {
        std::signal(SIGPIPE, SIG_IGN); // as every command does
    }

    void savesUsedBlocks()
    {
        Chance chance(seed);
        const std::string data = chance.Bytes(3 * mebibyte + 5);
        const Device source = NewExt4(chance, data);
        const ImageRecord record = Save(source);
        QCOMPARE(record.state, std::string("clean"));
        QVERIFY(record.bad.empty() && record.bytes < 5 * mebibyte);
        const std::string before = chance.Bytes(source.bytes);
        const Device target = Restore(record, before);
        Run({"e2fsck", "-fn", target.path});
        Run({"debugfs", "-R", "dump file " + Path("dumped"), target.path});
        QVERIFY(Content(Path("dumped")) == data);
        const std::string after = Content(target.path);
        QCOMPARE(after.size(), size_t{source.bytes});
        QVERIFY(after.substr(after.size() - mebibyte) == before.substr(before.size() - mebibyte)); // free blocks
        std::string another = record.sha256;
        another[0] ^= 1;
        QVERIFY(Complaint([&] {
            ImageVolumes(Files()).WriteTo(target, another);
        }).contains("read differently"));
    }

    void savesAllBlocks()
    {
        Chance chance(seed);
        const auto changed = [&](uint64_t offset, char byte) {
            const Device device = NewExt4(chance, "data");
            Put(device.path, {byte}, offset);
            return Content(device.path);
        };
        const std::string flags = Content(NewExt4(chance, "data").path).substr(incompatibleOffset, 1);
        const std::vector<std::pair<std::string, QString>> partitions = {
            {changed(incompatibleOffset, static_cast<char>(flags[0] | 4)), "unclean"}, // a journal to be played back
            {changed(stateOffset, '\0'), "unclean"},
            {changed(stateOffset, '\3'), "errors are flagged"},
            {Content(Make({"mkfs.ext4", "-q", "-F", "-O", "bigalloc"}, 3 * mebibyte)), "partclone.extfs: "},
            {Content(Make({"mkswap", "-q"}, 3 * mebibyte)), "partclone does not know swap"},
            {chance.Bytes(3 * mebibyte + 7 * 512), "unknown content"},
        };
        for (const auto& [before, reason] : partitions) {
            const Device source = Device::OfFile(NewFile(folder, "source", before));
            const ImageRecord record = Save(source);
            const QString state = QString::fromStdString(record.state);
            QVERIFY2(state.startsWith(reason) && state.endsWith(", all blocks"), qPrintable(state));
            QVERIFY(Content(source.path) == before);
            QVERIFY(Content(Restore(record, chance.Bytes(before.size())).path) == before);
            const ImageVolumes volumes(Files());
            volumes.CheckInFull(volumes.Head()); // partclone takes it for a whole one too
        }
    }

    void writesImagesWithChecksums()
    {
        Chance chance(seed);
        const std::string data = chance.Bytes(3 * mebibyte + 5);
        const Device source = NewExt4(chance, data);
        const std::string stream
            = Run({"partclone.extfs", "-c", "-q", "-k", "3", "-L", "/dev/null", "-s", source.path, "-o", "-"});
        QVERIFY(ImageHeader::Parse(stream)->hasChecksums);
        const Device target = Device::OfFile(NewFile(folder, "target", chance.Bytes(source.bytes)));
        const auto write = [&](const std::string& image) {
            NewFile(folder, "s_1_hdc1.bz2.000", Run({"lbzip2", "-c", NewFile(folder, "stream", image)}));
            ImageVolumes(Files()).WriteTo(target, "");
        };
        write(stream);
        Run({"e2fsck", "-fn", target.path});
        Run({"debugfs", "-R", "dump file " + Path("dumped"), target.path});
        QVERIFY(Content(Path("dumped")) == data);
        const auto complaint = [&](const std::string& image) {
            return Complaint([&] {
                write(image);
            });
        };
        QVERIFY(complaint(stream.substr(0, stream.size() / 2)).contains("the image ends early"));
        QVERIFY(complaint(stream + std::string(8 * mebibyte, '\0')).contains("goes on behind its last block"));
        // A block more, in use, behind the end of the partition; the first byte of blocks stands in for it.
        std::string more = stream;
        more.replace(60, 2, "\1\x20").replace(76, 1, 1, static_cast<char>(stream[76] + 1)).insert(110 + 1024, "\1");
        QVERIFY(complaint(more).contains("does not fit the partition"));
        // Of 2^32 blocks: no memory is taken for them.
        QVERIFY(
            complaint(std::string(stream).replace(60, 8, std::string("\0\0\0\0\1\0\0\0", 8))).contains("more room"));
    }

    void headsAllBlocksAsPartcloneDoes()
    {
        const auto written = [&](uint64_t bytes) {
            const std::string path = NewFile(folder, "source", std::string(bytes, 'x'));
            const std::string stream
                = Run({"partclone.imager", "-c", "-q", "-a", "0", "-L", "/dev/null", "-s", path, "-o", "-"});
            return stream.substr(0, ImageHeader::Parse(stream).value().DataOffset());
        };
        for (const uint64_t sectors : {1U, 7U, 6151U, 65537U}) {
            std::string theirs = written(sectors * 512);
            std::string ours = ImageHeader::OfAllBlocks(sectors * 512);
            QVERIFY(ours.size() == theirs.size());
            for (std::string* head : {&theirs, &ours})
                head->replace(16, 14, 14, ' ').replace(106, 4, 4, ' '); // who wrote it, and the CRC with that
            QVERIFY(ours == theirs);
        }
        std::string large = written(512); // one block more than anyone has, for which memory would be taken
        QVERIFY(!ImageHeader::Parse(large.replace(60, 8, std::string("\1\0\0\0\2\0\0\0", 8))));
        std::string endless = written(512); // of as many blocks of a byte as 64 bits can count
        endless.replace(60, 25, std::string(24, '\xff') + '\1').replace(85, 3, 3, '\0');
        QVERIFY(!ImageHeader::Parse(endless));
    }

    void judgesHowPartcloneEnds()
    {
        Chance chance(seed);
        const Device source = NewExt4(chance, chance.Bytes(mebibyte));
        Save(source);
        const std::string whole = Run({"lbzip2", "-dc", Files().Volume(0)});
        const QByteArray path = qgetenv("PATH");
        const QString real = QStandardPaths::findExecutable("partclone.extfs");
        const std::vector<std::tuple<QString, QString, bool>> cases = {
            {"%1 \"$@\" | head -c -1; kill -9 $$", "was ended by signal 9", false},
            // Its word is not enough, nor a map that marks more than it counts: all blocks are read in its place.
            {"%1 \"$@\" | head -c -1", "", true},
            {"%1 \"$@\" | { head -c 110; head -c 1024 | tr '\\000-\\377' '\\377'; cat; }", "", true},
            {"%1 \"$@\"; exec sleep 1000", "", false}, // which nobody waits for
        };
        const std::string before = Content(source.path);
        for (const auto& [script, words, all] : cases) {
            NewFile(folder, "partclone.extfs", "#!/bin/bash\n" + script.arg(real).toStdString() + "\n");
            QFile::setPermissions(folder.filePath("partclone.extfs"), QFile::ReadOwner | QFile::ExeOwner);
            qputenv("PATH", folder.path().toUtf8() + ":" + path);
            const QString complaint = Complaint([&] {
                Save(source);
            });
            qputenv("PATH", path);
            QVERIFY2(words.isEmpty() == complaint.isEmpty() && complaint.contains(words), qPrintable(complaint));
            QVERIFY(Run({"lbzip2", "-dc", Files().Volume(0)})
                == (all ? ImageHeader::OfAllBlocks(before.size()) + before : whole));
        }
    }

    void provesWhatIsWritten()
    {
        std::string all;
        StoreFile good(Path("good"));
        for (char i = 0; i < 60; ++i) { // several windows are read while others are written
            good.Write(std::string(777777, i).data(), 777777);
            all += std::string(777777, i);
        }
        QCOMPARE(good.Prove(), Sha256Of(all));
        StoreFile bad(Path("bad"));
        bad.Write("new", 3);
        Put(Path("bad"), "x"); // a medium that doesn't keep what was written
        QVERIFY(Complaint([&] {
            bad.Prove();
        }).contains("reads back differently"));
    }

    void tellsHowStagesEnd()
    {
        const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
            {{"true"}, ""},
            {{"sh", "-c", "echo first >&2; echo ' no disk' >&2; echo 'Please check log' >&2; exit 3"}, "no disk"},
            {{"sh", "-c", "exit 3"}, "sh ended with status 3"},
            {{"sh", "-c", "echo Block size >&2; kill -9 $$"}, "sh was ended by signal 9"},
            {{"no-such-program"}, "no-such-program cannot be started: No such file or directory"},
            {{"sh", "-c", "head -c 999999 /dev/zero | tr '\\0' x >&2; printf '\nend\n' >&2; exit 1"}, "end"},
            {{"sh", "-c", "sleep 5 & exit 1"}, "sh ended with status 1"}, // leaves one behind
        };
        for (const auto& [command, words] : cases) {
            QElapsedTimer timer;
            timer.start();
            Pipeline pipeline;
            pipeline.Start({"sleep", "0.1"});
            pipeline.Start(command);
            const std::vector<StageEnd> ends = pipeline.Finish();
            QVERIFY(ends[0].Succeeded());
            QCOMPARE(ends[1].Succeeded() ? std::string() : ends[1].LastWords(), words);
            QVERIFY(ends[1].said.size() < 65536);
            QVERIFY(timer.elapsed() < 4000);
        }
    }
};

QTEST_GUILESS_MAIN(ImagingTest)
#include "imagingtest.moc"
