// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "imagestore.h"

#include <QTest>

class ImageStoreTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void commandLines_data()
    {
        using namespace ImageStore;
        const QString serial = " A'*", date = "20070302", part = "hdc1";
        QTest::addColumn<QStringList>("command");
        QTest::addColumn<QString>("expected");
        QTest::newRow("1") << MakeSerialDirCommand(serial) << "mkdir|-p|/mnt/rev/ A'*";
        QTest::newRow("2") << MakeImageSetDirCommand(serial, date) << "mkdir|-p|/mnt/rev/ A'*/20070302";
        QTest::newRow("3") << SaveBootSectorCommand(serial, date)
                           << "dd|if=/dev/hdc|of=/mnt/rev/ A'*/20070302/ A'*_20070302_hdc.mbr|count=1|bs=512";
        QTest::newRow("4") << SavePartitionTableCommand(serial, date)
                           << "norvoClonePT|hdc|/mnt/rev/ A'*/20070302/ A'*_20070302_hdc.sf";
        QTest::newRow("5") << SavePartitionCommand(serial, date, part)
                           << "norvoPartimageClone|/mnt/rev/ A'*/20070302|hdc1| A'*_20070302_hdc1.bz2";
        QTest::newRow("6") << RestoreBootSectorCommand(serial, date) << "dd|if= A'*_20070302_hdc.mbr|of=/dev/hdc";
        QTest::newRow("7") << RestorePartitionTableCommand(serial, date) << "norvoRestorePT|hdc| A'*_20070302_hdc.sf";
        QTest::newRow("8") << RestorePartitionCommand(serial, date, part)
                           << "norvoPartimageRestore|/mnt/rev/ A'*/20070302|hdc1| A'*_20070302_hdc1.bz2.000";
        QTest::newRow("9") << MakeSwapCommand(part) << "mkswap|-c|/dev/hdc1";
        QTest::newRow("10") << ReinstallGrubCommand() << "norvoRestoreGrub";
        QTest::newRow("usage") << UsageCommand() << "df|-hT|--type=udf|--sync";
        QTest::newRow("format") << FormatCommand() << "mkudffs|/dev/hdb";
    }

    void commandLines()
    {
        QFETCH(QStringList, command);
        QTEST(command.join('|'), "expected");
    }
};

QTEST_GUILESS_MAIN(ImageStoreTest)
#include "imagestoretest.moc"
