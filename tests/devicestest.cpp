// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "diskimages.h"
#include "roles.h"

namespace {
/** As "sda model=A B,serial=1,system;sdb removable". What is not said is empty; a drive is fixed and has a medium. */
std::vector<Drive> Drives(const QString& text)
{
    std::vector<Drive> drives;
    for (const QString& words : text.split(';', Qt::SkipEmptyParts)) {
        Drive drive;
        drive.name = words.section(' ', 0, 0).toStdString();
        drive.bytes = 1000000;
        for (const QString& word : words.section(' ', 1).split(',')) {
            const std::string value = word.section('=', 1).toStdString();
            std::string Identity::*const members[]
                = {&Identity::model, &Identity::serial, &Identity::wwn, &Identity::place};
            const qsizetype key = QStringList{"model", "serial", "wwn", "place"}.indexOf(word.section('=', 0, 0));
            if (key >= 0)
                drive.identity.*members[key] = value;
            drive.removable = drive.removable || word == "removable";
            drive.optical = drive.optical || word == "optical";
            drive.system = word == "system" ? Remark("sda1 is mounted at /") : drive.system;
            drive.bytes = word == "empty" ? 0 : drive.bytes;
        }
        drives.push_back(drive);
    }
    return drives;
}

/** A file in one line, with "|" for a line feed. */
Ties TiesOf(QString text)
{
    return Ties::Parse(text.replace('|', '\n').toStdString(), "f");
}

QString Name(const Seat& seat)
{
    return seat.drive == nullptr ? "-" : QString::fromStdString(seat.drive->name);
}
} // namespace

class DevicesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void decides_data()
    {
        QTest::addColumn<QString>("drives");
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("roles"); // REV drive, hard disk, then words of a remark that tells why not
        const auto row = [](const char* name, const char* drives, const char* file, const char* roles) {
            QTest::newRow(name) << drives << file << roles;
        };
        const char* const usual = "sda serial=1,system;sdb model=Iomega RRD,removable;sdc serial=3";
        const char* const two = "sda serial=1,system;sdb model=X,serial=2,place=p2;sdc serial=3,wwn=0x3";
        const char* const twins = "sda model=X,serial=2,place=p1;sdb model=X,serial=2,place=p2";
        row("by themselves", usual, "", "sdb sdc");
        row("two disks: nothing is guessed", two, "", "- - /dev/sdb, /dev/sdc");
        row("two REV drives", "sdb model=Iomega RRD;sdc model=Iomega REV", "", "- - several drives call");
        row("what is removable, empty or optical is no hard disk", "sda removable;sdb empty;sr0 optical;sdc serial=1",
            "", "- sdc");
        row("none is left", "sda system;sdb model=Iomega REV", "", "sdb - no fixed disk");
        row("chosen", two, "[rev]|serial=2|[disk]|wwn=0x3", "sdb sdc");
        row("by all that is said", two, "[disk]|model=X|serial=2|place=p2", "- sdb");
        row("one thing differs", two, "[disk]|model=Y|serial=2", "- - not connected: model Y, serial 2");
        row("who has chosen one thing gets no other", usual, "[rev]|serial=3", "sdc - none is chosen");
        row("the REV drive remains by itself", usual, "[disk]|serial=3", "sdb sdc");
        row("another one than calls itself so", usual, "[rev]|serial=3|[disk]|serial=9", "sdc - not connected");
        row("the system's", usual, "[disk]|serial=1", "sdb - the running system is on");
        row("the system's as REV drive", usual, "[rev]|serial=1", "- - the running system is on");
        row("a REV drive with the system", "sda model=Iomega REV,system", "", "- - no drive calls itself");
        row("twins", twins, "[disk]|serial=2", "- - several drives");
        row("twins by their places", twins, "[rev]|place=p1|[disk]|place=p2", "sda sdb");
        row("the same twice", two, "[rev]|serial=2|[disk]|place=p2", "- - cannot be the REV drive and");
        row("the same twice, one by itself", "sdb model=Iomega REV,serial=2", "[disk]|serial=2", "- - cannot be");
        row("a CD drive as hard disk", "sr0 serial=1,optical", "[disk]|serial=1", "- - not a hard disk");
    }

    void decides()
    {
        QFETCH(QString, drives);
        QFETCH(QString, file);
        QFETCH(QString, roles);
        const std::vector<Drive> list = Drives(drives);
        const Roles decided = Decide(list, TiesOf(file));
        QCOMPARE(Name(decided.rev) + ' ' + Name(decided.disk), roles.section(' ', 0, 1));
        const QString remarks = QString::fromStdString(decided.rev.remark.Text() + "|" + decided.disk.remark.Text());
        QVERIFY2(remarks.contains(roles.section(' ', 2)), qPrintable(remarks));
    }

    void namesPartitionsOfTheChosenDiskAlone()
    {
        const std::vector<Drive> list = Drives("sda model=Iomega RRD;nvme0n1 serial=1;sdb removable");
        const Roles roles = Decide(list, {});
        QString names;
        for (const char* drive : {"sda", "nvme0n1", "sdb"})
            names += QString::fromStdString(roles.NameOf(drive, 0) + "," + roles.NameOf(drive, 12) + " ");
        QCOMPARE(names, QString("hdb, hdc,hdc12 , "));
    }

    void readsTheFile_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("answer"); // the complaint, or the choice in words
        const auto row = [](const char* file, const char* answer) {
            QTest::newRow(file) << file << answer;
        };
        row("", "");
        row("# a|\t [disk]\t||model = A  B = C |wwn=0x1", "model A  B = C, wwn 0x1");
        row("[disk]|serial=\xc3\xa4", "serial \xc3\xa4");
        row("[disk]|serial=1|[disc]", "65 f:3: \"[disc]\" is neither [rev] nor [disk]");
        row("[disk]|serial=1|[disk]", "65 f:3: [disk] is there twice");
        row("serial=1", "65 f:1: [rev] or [disk] has to come first");
        row("[disk]|serial", "65 f:2: \"serial\" is not of the form key = value");
        row("[disk]|serail=1", "65 f:2: \"serail\" is not a key; they are model, serial, wwn and place");
        row("[disk]|serial=1|serial=1", "65 f:3: serial is there twice");
        row("[disk]|serial= ", "65 f:2: serial has no value");
        row("[disk]|serial=1\r", "65 f:2: a control character, or bytes that are not UTF-8");
        row("[disk]|\t serial=1\x01", "65 f:2: a control character, or bytes that are not UTF-8");
        const char* const many = "the part above has neither serial, wwn nor place: many drives would answer to it";
        row("[disk]|model=A", qPrintable(QString("65 f:2: ") + many));
        row("[disk]|model=A|[rev]|serial=1", qPrintable(QString("65 f:3: ") + many));
    }

    void readsTheFile()
    {
        QFETCH(QString, file);
        QFETCH(QString, answer);
        QString words;
        const QString complaint = Complaint([&] {
            const Ties ties = TiesOf(file);
            words = ties.disk ? QString::fromStdString(ChoiceText(*ties.disk)) : "";
        });
        const QString remedy = "; mend this line, or forget the choice with: norvoDevices --clear";
        QCOMPARE(complaint + words, answer + (answer.startsWith("65") ? remedy : ""));
    }

    void writesTheFile()
    {
        const QTemporaryDir folder(Scratch() + "devices-XXXXXX");
        const std::string path = (folder.path() + "/new/devices").toStdString();
        const std::vector<Drive> drives = Drives("sda model=A # B,serial=1,wwn=0x1,place=p1;sdb model=M");
        Ties ties;
        ties.rev = TieOf(drives[0], true);
        ties.disk = TieOf(drives[0], false);
        ties.Write(path);
        const Ties read = Ties::Read(path);
        QVERIFY(read.rev && read.disk);
        QCOMPARE(ChoiceText(*read.rev), std::string("model A # B, place p1"));
        QCOMPARE(ChoiceText(*read.disk), std::string("model A # B, serial 1, wwn 0x1"));
        QVERIFY(Complaint([&] {
            TieOf(drives[1], false);
        }).contains("--by-place"));
        QVERIFY(Complaint([&] {
            TieOf(drives[1], true);
        }).contains("not known where"));
        for (const char* serial : {"1\n[rev]", "1\nplace=p2"}) {
            ties.disk->serial = serial;
            QVERIFY(!Complaint([&] {
                ties.Write(path);
            }).isEmpty());
        }
        QVERIFY(Ties::Read(path).disk.has_value());
        Ties().Write(path);
        QVERIFY(Ties::Read(path).IsEmpty());
    }

    void describesDrives_data()
    {
        QTest::addColumn<QString>("model");
        QTest::addColumn<bool>("isRev");
        for (const char* model : {"Iomega RRD", "IOMEGA REV70", "Iomega_REV", "ATA Iomega RRD2"})
            QTest::newRow(model) << model << true;
        for (const char* model : {"", "Iomega ZIP 100", "REV", "Iomega REVERSE", "Iomegas RRD"})
            QTest::newRow(model) << model << false;
    }

    void describesDrives()
    {
        QFETCH(QString, model);
        QFETCH(bool, isRev);
        QCOMPARE(IsRevModel(model.toStdString()), isRev);
        QCOMPARE(DriveText("", "", 999949999), std::string("a drive without a model name, no serial number, 999.9 MB"));
        QCOMPARE(DriveText("A B", "7", 999950000), std::string("A B, serial number 7, 1.0 GB"));
        QCOMPARE(UdevDecoded("\\x20WDC\\x20\\x5c\\x2\\x20 "), std::string("WDC \\\\x2"));
    }
};

QTEST_GUILESS_MAIN(DevicesTest)
#include "devicestest.moc"
