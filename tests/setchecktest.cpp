// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "setcheck.h"
#include "diskimages.h"
#include "runentry.h"

/** Image sets that something has happened to, which is done by shell commands in the set's folder. */
class SetCheckTest : public QObject
{
    Q_OBJECT

    QTemporaryDir store{Scratch()};

    /** What is not good, as "hdc1 damaged|hdc5 missing". */
    static QString Complaints(const ImageSet& set, bool deep)
    {
        QStringList complaints;
        for (const CheckedPart& part : CheckSet(set, deep, [](const std::string&) {})) {
            if (part.verdict != Verdict::Good)
                complaints.append(QString::fromStdString(part.name + ' ' + Name(part.verdict)));
        }
        return complaints.join('|');
    }

    /** A set after commands in its folder, where its files go by the ends of their names. */
    std::vector<ImageSet> After(const std::string& accident) const
    {
        const std::string script = "rm -rf \"$0\"/*; cp -r \"$1\"/old \"$0\"; cd \"$0\"/old/*; p=old_20261101_; "
                                   "for f in *; do mv $f ${f#$p}; done; "
            + accident + "; for f in *; do mv $f $p$f; done";
        Run({"bash", "-ec", script, store.path().toStdString(), TEST_DATA});
        return FindSets(store.path().toStdString(), "old", "");
    }

private Q_SLOTS:
    void judgesSets_data()
    {
        QTest::addColumn<QString>("accident");
        QTest::addColumn<QString>("complaints");
        QTest::addColumn<bool>("deepOnly");
        const auto row = [](const char* accident, const char* complaints, bool deepOnly = false) {
            QTest::newRow(accident) << accident << complaints << deepOnly;
        };
        const QString foreign = "sed -ni '\\|^/|p' hdc.sf; rm *.sum";
        row("true", "");
        row("printf x | dd of=hdc1.bz2.000 bs=1 seek=200 conv=notrunc", "hdc1 damaged");
        row("truncate -s -1 hdc5.bz2.000", "hdc5 damaged");
        row("rm hdc5.bz2.*", "hdc5 missing");
        row("rm hdc5.bz2.sum", "hdc5 missing");
        row("rm hdc3.bz2.*", "");
        row("truncate -s -5 hdc5.bz2.sum", "hdc5 damaged");
        row("mv hdc1.bz2.000 x; mv hdc5.bz2.000 hdc1.bz2.000; mv x hdc5.bz2.000", "hdc1 damaged|hdc5 damaged");
        row("sed -nE 's#/dev/hdc1 : start= *([0-9]+), size= *([0-9]+).*#partition hdc5\\nstart \\1\\nsize \\2#p' "
            "hdc.sf >x; "
            "sed -i '/^sha256/r x' hdc1.bz2.sum; rm x",
            "hdc1 damaged");
        row("sed -i \"/^end/i table $(printf %064d 1)\" hdc1.bz2.sum", "hdc1 missing"); // of an earlier run
        row("sed -i s/hdc1/hdc2/ hdc.sf", "partition table damaged");
        row("rm hdc.sf", "partition table missing");
        row("rm hdc.mbr", "boot sector missing");
        row("truncate -s 511 hdc.mbr", "boot sector damaged");
        row("printf x >>hdc.mbr", "boot sector damaged");
        row("truncate -s 510 hdc.mbr; truncate -s 512 hdc.mbr", "boot sector damaged");
        row("printf x | dd of=hdc.mbr bs=1 seek=455 conv=notrunc", "boot sector damaged"); // where partition 1 starts
        // Names that the file system itself fails at.
        row("ln -sf old_20261101_hdc.mbr hdc.mbr", "boot sector damaged");
        row("ln -s old_20261101_hdc.run hdc.run", "");
        // All is there, but not in the set.
        row("mkdir -p /mnt/out; mv hdc.mbr /mnt/out/1; ln -s /mnt/out/1 hdc.mbr", "boot sector damaged");
        row("mv hdc1.bz2.000 /mnt/out/2; ln -s /mnt/out/2 hdc1.bz2.000", "hdc1 damaged");
        row("mv hdc5.bz2.sum x; ln -s old_20261101_x hdc5.bz2.sum", "hdc5 damaged");
        row("mv hdc.sf x; ln -s old_20261101_x hdc.sf", "partition table damaged");
        row("rm hdc.mbr; mkfifo hdc.mbr", "boot sector damaged");
        // A later run of the day has failed: at an image, at the table, and at neither any more.
        const std::string image = "h=$(sed -n 's/^sha256 //p' hdc1.bz2.sum); c=norvoPartimageClone p1=hdc1; ";
        const std::string table = "h=$(sed -n 's/.*sha256 //p' hdc.sf); c=norvoClonePT p1=hdc; ";
        const std::string runs = "line() { printf '{\"command\":\"%s\",\"part\":\"%s\",\"result\":\"%s\",\"sha256\":"
                                 "\"%s\"}\\n' $c $p1 $1 \"${2:-}\"; }; ";
        row((image + runs + "{ line begun; line done $h; line begun; } >hdc.run").c_str(), "hdc1 missing");
        row((image + runs + "{ line done $h; line begun; line failed; } >hdc.run").c_str(), "hdc1 missing");
        row((table + runs + "{ line done $h; line begun; } >hdc.run").c_str(), "partition table missing");
        row((image + runs + "{ line done $h; c=norvoClonePT p1=hdc; line begun; } >hdc.run").c_str(), "hdc1 missing");
        row((image + runs + "{ line failed; line done $h; c=x; line failed; } >hdc.run").c_str(), "");
        row((image + runs + "{ line done 0; line failed; } >hdc.run").c_str(), "");
        // Images that are no good, with records that fit.
        const std::string plain = "lbzip2 -dc hdc1.bz2.000 >x; ";
        const std::string packed = "; lbzip2 -c x >hdc1.bz2.000; rm x; h=$(sha256sum <hdc1.bz2.000); "
                                   "s=$(stat -c %s hdc1.bz2.000); sed -i \"s/^bytes .*/bytes $s/; s/^sha256 .*/sha256 "
                                   "${h%% *}/\" hdc1.bz2.sum";
        const std::string change = plain + "printf '\\377\\377\\377' | dd conv=notrunc bs=1 of=x seek=";
        row((plain + "truncate -s -9 x" + packed).c_str(), "hdc1 damaged", true);
        row((plain + "printf x >x" + packed).c_str(), "hdc1 damaged");
        row((change + "52" + packed).c_str(), "hdc1 damaged");  // bytes of the partition that it was made from
        row((change + "84" + packed).c_str(), "hdc1 damaged");  // of a block
        row((change + "600" + packed).c_str(), "hdc1 damaged"); // marks of used ones
        QTest::newRow("foreign") << foreign << "partition table no record|hdc1 no record|hdc3 no record|hdc5 no record"
                                 << false;
        QTest::newRow("foreign, exchanged")
            << foreign + "; cp hdc1.bz2.000 hdc3.bz2.000"
            << "partition table no record|hdc1 no record|hdc3 damaged|hdc5 no record" << false;
        QTest::newRow("foreign, cut") << foreign
                + "; lbzip2 -dc hdc1.bz2.000 | head -c -9 | lbzip2 >x; mv x hdc1.bz2.000"
                                      << "partition table no record|hdc1 damaged|hdc3 no record|hdc5 no record"
                                      << false;
    }

    void judgesSets()
    {
        QFETCH(QString, accident);
        QFETCH(QString, complaints);
        QFETCH(bool, deepOnly);
        const std::vector<ImageSet> sets = After(accident.toStdString());
        QCOMPARE(sets.size(), size_t{1});
        QCOMPARE(Complaints(sets.front(), true), complaints);
        QCOMPARE(Complaints(sets.front(), false), deepOnly ? QString() : complaints);
        QVERIFY(FindSets(store.path().toStdString(), "old", "20261102").empty());
    }

    void judgesAFolderThatCannotBeReadBesideOthers()
    {
        const std::vector<ImageSet> sets
            = After("ln -s 20261102 ../20261102; mkdir ../.hidden ../lost+found; ln -s none ../link; "
                    "cp -r .. /mnt/out; ln -s /mnt/out/20261101 ../20261103");
        QCOMPARE(sets.size(), size_t{3});
        QCOMPARE(Complaints(sets.front(), false), QString());
        QCOMPARE(Complaints(sets[1], false), QString("folder damaged"));
        QCOMPARE(Complaints(sets.back(), false), QString("folder damaged"));
        QVERIFY(sets.back().fault.find("leads out of the medium") != std::string::npos);
    }

    void tellsWhoCanReadASet()
    {
        QVERIFY(IsOpenToAll(After("chmod go= *; chmod o+r hdc1.bz2.000; chmod 755 . ..").front()));
        QVERIFY(!IsOpenToAll(After("chmod go= *; chmod 755 . ..").front()));
        QVERIFY(!IsOpenToAll(After("chmod a+r *; chmod 755 ..; chmod 700 .").front()));
    }

    void tellsWhyAnImageIsMissing()
    {
        RunEntry failed;
        failed.command = "norvoPartimageClone";
        failed.part = "hdc1";
        failed.result = "failed";
        failed.reason = "the \"disk\" is\nmounted \xff";
        failed.warnings = {"one", "two"};
        failed.tools["lbzip2"] = "lbzip2 version 2.5";
        failed.diskBytes = 3000592982016;
        RunEntry other = failed;
        other.part = "hdc5";
        other.result = "done";
        // As a power cut may leave it, and with what another program has written.
        const std::string text = "\xff{}[]\n" + failed.Line()
            + "{\"command\":7}\n{\"command\":\"x\",\"disk-bytes\":-1e99}\n" + other.Line()
            + failed.Line().substr(0, 20);
        const std::vector<RunEntry> read = RunEntry::Parse(text);
        QCOMPARE(read.size(), size_t{3});
        QCOMPARE(read.back().Line(), other.Line());
        const ImageSet set = After("rm hdc1.bz2.*").front();
        Put(set.folder + "/" + set.Prefix() + "hdc.run", text);
        const std::string remark = CheckSet(set, false, [](const std::string&) {})[2].remark;
        QCOMPARE(QString::fromStdString(remark).section("; ", 1), QString("the \"disk\" is\\012mounted \\377"));
    }
};

QTEST_GUILESS_MAIN(SetCheckTest)
#include "setchecktest.moc"
