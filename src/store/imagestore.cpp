// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "imagestore.h"

#include <algorithm>

namespace {
// The hard disk that is cloned and restored. There is no choice of another.
const QString sourceDisk = QStringLiteral("hdc");
const QString sourceDevice = QStringLiteral("/dev/hdc");
const QString imageSuffix = QStringLiteral(".bz2");
const QString firstVolumeSuffix = QStringLiteral(".000");
} // namespace

namespace ImageStore {
QString SerialDirPath(const QString& serial)
{
    return QLatin1String(mountPoint) + serial;
}

QString ImageSetPath(const QString& serial, const QString& date)
{
    return SerialDirPath(serial) + QLatin1Char('/') + date;
}

QString ImageFilePrefix(const QString& serial, const QString& date)
{
    return serial + QLatin1Char('_') + date + QLatin1Char('_');
}

QString BootSectorFileName(const QString& serial, const QString& date)
{
    return ImageFilePrefix(serial, date) + sourceDisk + QStringLiteral(".mbr");
}

QString PartitionTableFileName(const QString& serial, const QString& date)
{
    return ImageFilePrefix(serial, date) + sourceDisk + QStringLiteral(".sf");
}

QString PartitionTablePath(const QString& serial, const QString& date)
{
    return ImageSetPath(serial, date) + QLatin1Char('/') + PartitionTableFileName(serial, date);
}

QString ImageBaseName(const QString& serial, const QString& date, const QString& part)
{
    return ImageFilePrefix(serial, date) + part + imageSuffix;
}

QString ImageFirstVolumeName(const QString& serial, const QString& date, const QString& part)
{
    return ImageBaseName(serial, date, part) + firstVolumeSuffix;
}

bool IsOfSourceDisk(const QString& part)
{
    const auto isDigit = [](QChar c) {
        return c >= QLatin1Char('0') && c <= QLatin1Char('9');
    };
    return part.startsWith(sourceDisk) && std::all_of(part.begin() + sourceDisk.size(), part.end(), isDigit);
}

QStringList MakeSerialDirCommand(const QString& serial)
{
    return {QStringLiteral("mkdir"), QStringLiteral("-p"), SerialDirPath(serial)};
}

QStringList MakeImageSetDirCommand(const QString& serial, const QString& date)
{
    return {QStringLiteral("mkdir"), QStringLiteral("-p"), ImageSetPath(serial, date)};
}

QStringList SaveBootSectorCommand(const QString& serial, const QString& date)
{
    return {QStringLiteral("dd"), QStringLiteral("if=") + sourceDevice,
        QStringLiteral("of=") + ImageSetPath(serial, date) + QLatin1Char('/') + BootSectorFileName(serial, date),
        QStringLiteral("count=1"), QStringLiteral("bs=512")};
}

QStringList SavePartitionTableCommand(const QString& serial, const QString& date)
{
    return {QStringLiteral("norvoClonePT"), sourceDisk, PartitionTablePath(serial, date)};
}

QStringList SavePartitionCommand(const QString& serial, const QString& date, const QString& part)
{
    return {QStringLiteral("norvoPartimageClone"), ImageSetPath(serial, date), part, ImageBaseName(serial, date, part)};
}

QStringList RestoreBootSectorCommand(const QString& serial, const QString& date)
{
    return {QStringLiteral("dd"), QStringLiteral("if=") + BootSectorFileName(serial, date),
        QStringLiteral("of=") + sourceDevice};
}

QStringList RestorePartitionTableCommand(const QString& serial, const QString& date)
{
    return {QStringLiteral("norvoRestorePT"), sourceDisk, PartitionTableFileName(serial, date)};
}

QStringList RestorePartitionCommand(const QString& serial, const QString& date, const QString& part)
{
    return {QStringLiteral("norvoPartimageRestore"), ImageSetPath(serial, date), part,
        ImageFirstVolumeName(serial, date, part)};
}

QStringList MakeSwapCommand(const QString& part)
{
    return {QStringLiteral("mkswap"), QStringLiteral("-c"), QStringLiteral("/dev/") + part};
}

QStringList ReinstallGrubCommand()
{
    return {QStringLiteral("norvoRestoreGrub")};
}

QStringList UsageCommand()
{
    return {QStringLiteral("df"), QStringLiteral("-hT"), QStringLiteral("--type=udf"), QStringLiteral("--sync")};
}

QStringList FormatCommand(const QString& device)
{
    // The block size has to be the drive's logical sector size, or the kernel can't mount it: mkudffs asks the drive.
    return {QStringLiteral("mkudffs"), device};
}
} // namespace ImageStore
