// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "setguard.h"

#include "authentication.h"
#include "failure.h"
#include "imagestore.h"
#include "medium.h"

#include <KLocalizedString>

#include <QDirIterator>
#include <QFile>

#include <cerrno>
#include <cstring>

#include <fcntl.h>

namespace {
constexpr off_t bootSectorBytes = 512;
constexpr qint64 mostBytes = 256 << 20;   // as the commands have it: a boot track may be in it
constexpr qint64 mostLineBytes = 1 << 20; // of all partition lines together, too
constexpr int mostLines = 1024;           // Linux offers 256 partitions of a disk

QString LeadsOut(const QString& path)
{
    return i18n(
        "%1 is a link that leads out of the REV disk. Nothing was done. Delete the link, or use another disk.", path);
}

QString IsNoFile(const QString& path)
{
    return i18n(
        "%1 is a link, a device or a pipe, not a file. Nothing was done. Delete it, or use another disk.", path);
}

QString IsTooLong(const QString& path)
{
    return i18n("%1 is too long for what its name says. Nothing was done. Delete it, or use another disk.", path);
}

bool IsLink(const QString& path)
{
    const auto status = Medium::Look(QFile::encodeName(path).toStdString());
    return status && S_ISLNK(status->st_mode);
}

QString FaultOfMember(const QString& path, bool isBootSector)
{
    const auto status = Medium::Look(QFile::encodeName(path).toStdString());
    if (!status || S_ISDIR(status->st_mode))
        return {};
    if (!S_ISREG(status->st_mode))
        return IsNoFile(path);
    return isBootSector && status->st_size > bootSectorBytes ? IsTooLong(path) : QString();
}

QString Translated(const Remark& remark)
{
    if (!remark.isTranslated)
        return QString::fromStdString(Printable(remark.text));
    KLocalizedString text = ki18n(remark.text.c_str());
    for (const Remark& name : remark.names)
        text = text.subs(Translated(name));
    return text.toString();
}

/** The first thing that shows that what a restore takes is not authentic. What can't be read is a Failure. */
Remark FindUnproven(const Authentication& key, const QString& serial, const QString& date, const QStringList& names)
{
    const std::string folder = QFile::encodeName(ImageStore::ImageSetPath(serial, date)).toStdString();
    const std::string tablePath = QFile::encodeName(ImageStore::PartitionTablePath(serial, date)).toStdString();
    const std::string sectorPath
        = folder + "/" + QFile::encodeName(ImageStore::BootSectorFileName(serial, date)).toStdString();
    const TableFile table = TableFile::Read(tablePath);
    Remark fault = key.FaultOf(table, tablePath);
    if (fault.IsEmpty())
        fault = Authentication::FaultOf(Medium::Read(sectorPath, bootSectorBytes), sectorPath, table);
    for (const QString& name : names) {
        if (!fault.IsEmpty())
            break;
        const QString base = ImageStore::ImageBaseName(serial, date, name);
        const std::string record
            = ImageFiles(folder, name.toStdString(), QFile::encodeName(base).toStdString()).Record();
        fault = Medium::Exists(record) ? key.FaultOf(ImageRecord::Read(record), record, table)
                                       : Authentication::Lacks(record);
    }
    return fault;
}

/** False, with the lines as they were, where there are too many, or one is too long. */
bool ReadPartitionLines(QFile& file, QStringList& lines)
{
    QStringList found;
    qint64 bytes = 0;
    bool begins = true; // a line; those with the bytes of a boot track are long
    for (QByteArray part = file.readLine(mostLineBytes); !part.isEmpty(); part = file.readLine(mostLineBytes)) {
        const bool ends = part.endsWith('\n') || file.atEnd();
        if (begins && part.startsWith('/')) {
            bytes += part.size();
            if (!ends || bytes > mostLineBytes || found.size() == mostLines)
                return false;
            while (part.endsWith('\n') || part.endsWith('\r'))
                part.chop(1);
            found.append(QString::fromLocal8Bit(part));
        }
        begins = ends;
    }
    lines = found;
    return true;
}
} // namespace

QString FaultOfSet(const QString& serial, const QString& date)
{
    const QString folder = ImageStore::ImageSetPath(serial, date);
    for (const QString& path : {ImageStore::SerialDirPath(serial), folder}) {
        if (!Medium::OpenFolder(QFile::encodeName(path).toStdString()) && errno == EXDEV)
            return LeadsOut(path);
    }
    const QString bootSector = ImageStore::BootSectorFileName(serial, date);
    const QDir::Filters all = QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot;
    for (QDirIterator entries(folder, all); entries.hasNext();) {
        const QString path = entries.next();
        const QString name = entries.fileName();
        if (!name.startsWith(ImageStore::ImageFilePrefix(serial, date)))
            continue;
        QString fault = FaultOfMember(path, name == bootSector);
        if (!fault.isEmpty())
            return fault;
    }
    return {};
}

QString ReadTableLines(QFile& file, const QString& serial, const QString& date, QStringList& lines)
{
    const QString path = ImageStore::PartitionTablePath(serial, date);
    file.setFileName(path);
    Descriptor descriptor = Medium::OpenFile(QFile::encodeName(path).toStdString(), O_RDONLY);
    if (!descriptor || !file.open(descriptor.Get(), QIODevice::ReadOnly)) {
        QString fault = FaultOfSet(serial, date);
        if (fault.isEmpty())
            fault = QStringLiteral("Can't find partition table file!");
        return fault;
    }
    const bool read = file.size() <= mostBytes && ReadPartitionLines(file, lines);
    file.close();
    return read ? QString() : IsTooLong(path);
}

QString FaultOfPartitions(const QStringList& names)
{
    for (const QString& name : names) {
        if (!ImageStore::IsOfSourceDisk(name))
            return i18n(
                "The set's partition table names %1, which is not on the hard disk. Nothing was done. Use another set.",
                QStringLiteral("/dev/") + name.left(100));
    }
    return {};
}

QString FaultOfKey()
{
    try {
        Authentication::Read();
    } catch (const Failure& failure) {
        return Translated(failure.remark);
    }
    return {};
}

QString FaultOfAuthenticity(const QString& serial, const QString& date, const QStringList& names)
{
    QString keyFault = FaultOfKey();
    if (!keyFault.isEmpty())
        return keyFault;
    Remark fault;
    try {
        const auto key = Authentication::Read();
        if (key && key->IsRequired())
            fault = FindUnproven(*key, serial, date, names);
    } catch (const Failure& failure) {
        fault = failure.remark;
    }
    if (fault.IsEmpty())
        return {};
    return i18n("Only authentic image sets may be restored on this machine, and this one is not: %1. Nothing was done. "
                "Use another set.",
        Translated(fault));
}

LinkBan::LinkBan(const QString& serial, const QString& date)
{
    if (IsLink(ImageStore::SerialDirPath(serial)) || IsLink(ImageStore::ImageSetPath(serial, date)))
        return;
    banned = Medium::FollowLinks(ImageStore::mountPoint, false);
    if (!banned)
        qWarning("%s: that no link is followed there cannot be seen to: %s", ImageStore::mountPoint, strerror(errno));
}

LinkBan::~LinkBan()
{
    if (banned)
        Medium::FollowLinks(ImageStore::mountPoint, true);
}
