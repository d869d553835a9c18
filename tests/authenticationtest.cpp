// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "diskimages.h"
#include "setcheck.h"

/** Sets made with a key, by what somebody without it can do to them. */
class AuthenticationTest : public QObject
{
    Q_OBJECT

    QTemporaryDir folder{Scratch()};

    std::string KeyFile() const
    {
        return folder.path().toStdString() + "/etc/key";
    }

    /** The set of the tests as a run has it that begins at this time. */
    void Make(const Authentication* key, const std::string& time) const
    {
        Run({"bash", "-ec", "rm -rf $0/store; cp -r $1 $0/store", folder.path().toStdString(), TEST_DATA});
        const std::string prefix = Folder() + "/old_20261101_hdc";
        TableFile table = TableFile::Read(prefix + ".sf");
        table.saved = time;
        table.raw = {{0, Content(prefix + ".mbr")}};
        Put(prefix + ".sf", table.Text(key, prefix + ".sf"));
        for (const std::string part : {"1", "3", "5"}) {
            const std::string path = prefix + part + ".bz2.sum";
            ImageRecord record = ImageRecord::Read(path);
            const TableLine& line = *table.Find(std::stoi(part));
            record.partition = "hdc" + part;
            record.start = line.start;
            record.size = line.size;
            record.state = "clean";
            record.table = table.seal;
            Put(path, record.Text(key, path));
        }
    }

    std::string Folder() const
    {
        return folder.path().toStdString() + "/store/old/20261101";
    }

private Q_SLOTS:
    void init()
    {
        Run({"bash", "-ec", "rm -rf $0/*", folder.path().toStdString()});
    }

    void tellsWhatIsNotAuthentic_data()
    {
        QTest::addColumn<QString>(
            "attack"); // in the set's folder, on all that begins with old_20261101_; $other is a run before
        QTest::addColumn<QString>("fault");
        QTest::addColumn<bool>("intact");
        const auto row = [](const char* attack, const QString& fault, bool intact = true) {
            QTest::newRow(attack) << attack << fault << intact;
        };
        const char* const changed = " was made with another key, is of another set, or was changed";
        const auto other = [&](const char* name) {
            return QString(name) + changed;
        };
        const std::string seal = "; sed -i '/^# complete/d' ${p}hdc.sf; h=$(sha256sum <${p}hdc.sf); "
                                 "echo \"# complete: sha256 ${h%% *}\" >>${p}hdc.sf; "
                                 "sed -i \"s/^table .*/table ${h%% *}/\" $p*.sum";
        const std::string forge = "lbzip2 -dc ${p}hdc1.bz2.000 | lbzip2 -1 >x; mv x ${p}hdc1.bz2.000; "
                                  "h=$(sha256sum <${p}hdc1.bz2.000); s=$(stat -c %s ${p}hdc1.bz2.000); "
                                  "sed -i \"s/^sha256 .*/sha256 ${h%% *}/; s/^bytes .*/bytes $s/\" ${p}hdc1.bz2.sum";
        row("true", "");
        row(forge.c_str(), other("hdc1.bz2.sum"));
        row((forge + "; sed -i /^hmac/d ${p}hdc1.bz2.sum").c_str(), "hdc1.bz2.sum was made without a key");
        row("sed -i '/^hmac/s/.$/x/' ${p}hdc5.bz2.sum", other("hdc5.bz2.sum"));
        row("sed -i '/^hmac/a state clean' ${p}hdc5.bz2.sum", "hdc5.bz2.sum was made without a key");
        row(("sed -i s/^#.model.*/#.model:.other/ ${p}hdc.sf" + seal).c_str(), other("hdc.sf"));
        row(("sed -i /^#.hmac/d ${p}hdc.sf" + seal).c_str(), "hdc.sf was made without a key");
        row("cp $other/${p}hdc1.bz2.* .", "hdc1.bz2.sum is of another run than the partition table of its set", false);
        row("cp $other/${p}hdc.sf .", "hdc1.bz2.sum is of another run than the partition table of its set", false);
        row("cp $other/* .", "");
        row("mkdir ../20261102; for f in *; do mv $f ../20261102/old_20261102_${f#$p}; done; rmdir $PWD",
            other("hdc.sf"));
        row("mkdir -p ../../A/20261101; for f in *; do mv $f ../../A/20261101/A_20261101_${f#$p}; done; rm -r "
            "../../old",
            other("hdc.sf"));
        row("mkdir -p ../../o/ld_20261101; for f in *; do mv $f ../../o/ld_20261101/o_ld_${f#old_}; done; rm -r "
            "../../old",
            "hdc.sf is in a folder that is no date");
        row("printf x | dd of=${p}hdc.mbr bs=1 conv=notrunc",
            "hdc.mbr is not the boot sector that the set's partition table has", false);
    }

    void tellsWhatIsNotAuthentic()
    {
        QFETCH(QString, attack);
        QFETCH(QString, fault);
        QFETCH(bool, intact);
        Authentication::Make(KeyFile());
        const auto key = Authentication::Read(KeyFile());
        Make(&*key, "2026-11-01T10:00:00Z");
        Run({"cp", "-r", Folder(), folder.path().toStdString() + "/other"});
        Make(&*key, "2026-11-01T11:00:00Z");
        Run({"bash", "-ec", "cd $0; p=old_20261101_; other=$1; " + attack.toStdString(), Folder(),
            folder.path().toStdString() + "/other"});
        const auto sets = FindSets(folder.path().toStdString() + "/store", "", "");
        QCOMPARE(sets.size(), size_t{1});
        std::string found;
        bool isIntact = true;
        for (const CheckedPart& part : CheckSet(
                 sets.front(), false, [](const std::string&) {}, &*key)) {
            isIntact = isIntact && part.verdict == Verdict::Good;
            if (found.empty())
                found = part.unproven.Text();
        }
        const QString name = QString::fromStdString(found.substr(found.rfind('/') + 1));
        QCOMPARE(name.section('_', name.startsWith("o_") ? 3 : 2), fault);
        QCOMPARE(isIntact, intact);
    }

    void knowsNoOthersKey()
    {
        Authentication::Make(KeyFile());
        const auto key = Authentication::Read(KeyFile());
        Make(&*key, "2026-11-01T10:00:00Z");
        const std::string table = Folder() + "/old_20261101_hdc.sf";
        Authentication::Make(KeyFile() + "2");
        const auto other = Authentication::Read(KeyFile() + "2");
        QVERIFY(!other->FaultOf(TableFile::Read(table), table).IsEmpty());
    }

    void readsKeyFiles_data()
    {
        QTest::addColumn<QString>("change"); // of the file $k
        QTest::addColumn<QString>("complaint");
        const auto row = [](const char* change, const char* complaint) {
            QTest::newRow(change) << change << complaint;
        };
        row("true", "read");
        row("echo require-authentic >>$k", "required");
        row("rm $k", "none");
        row("chmod 640 $k", "75 $k is open to other users");
        row("chmod 604 $k", "75 $k is open to other users");
        row("mv $k $k.x; ln -s key.x $k", "75 $k is a symbolic link");
        row("rm $k; mkfifo -m 600 $k", "75 $k is not a file");
        row("rm $k; mkdir -m 700 $k", "75 $k is not a file");
        row(": >$k", "75 $k has no line \"key = \"");
        row("truncate -s 5000 $k", "65 $k: the file is too long");
        row("sed -i 's/.$//' $k", "75 $k:7: the key has fewer than 64 digits");
        row("sed -i 's/^key.*/&g/' $k", "75 $k:7: the key has other characters");
        row("echo 'key = 0' >>$k", "75 $k:8: the key is there twice");
        row("echo require-authentication >>$k", "75 $k:8: neither \"key = \" nor");
    }

    void readsKeyFiles()
    {
        QFETCH(QString, change);
        Authentication::Make(KeyFile());
        Run({"bash", "-ec", "k=$0; " + change.toStdString(), KeyFile()});
        QString result;
        result += Complaint([&] {
            const auto key = Authentication::Read(KeyFile());
            result = !key ? "none" : key->IsRequired() ? "required" : "read";
        });
        QFETCH(QString, complaint);
        complaint.replace("$k", KeyFile().c_str());
        QCOMPARE(result.left(complaint.size()), complaint);
    }

    void keepsAKeyThatIsThere()
    {
        Authentication::Make(KeyFile());
        const std::string before = ReadFile(KeyFile(), 4096);
        QVERIFY(Complaint([this] {
            Authentication::Make(KeyFile());
        }).contains("is there already"));
        QCOMPARE(ReadFile(KeyFile(), 4096), before);
        QVERIFY(access((KeyFile() + ".new").c_str(), F_OK) != 0);
    }
};

QTEST_GUILESS_MAIN(AuthenticationTest)
#include "authenticationtest.moc"
