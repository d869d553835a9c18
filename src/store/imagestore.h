// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <QStringList>

/**
 * The image store on the REV disk and the external commands that write and read it: every path, file name and
 * command line of the program comes from here. Nothing here touches a disk.
 *
 * An image set is named by a machine's serial number and a date (yyyyMMdd):
 *
 *     /mnt/rev/{serial}/{date}/{serial}_{date}_hdc.mbr            boot sector
 *                              {serial}_{date}_hdc.sf             partition table
 *                              {serial}_{date}_{part}.bz2.000     image of a partition, first volume
 *
 * Serial number and date are used as they are: not trimmed, escaped or checked.
 *
 * A command line is a list: the command's name, found on the search path, then its arguments one by one. No shell
 * reads it, so nothing in it is quoted.
 */
namespace ImageStore {
/** Where the REV disk is mounted: the root of the store, always written with its trailing "/". */
inline constexpr char mountPoint[] = "/mnt/rev/";

/** The device of the REV drive. */
inline constexpr char revDevice[] = "/dev/hdb";

/** The format of the image date, for QDate::toString(). */
inline constexpr char dateFormat[] = "yyyyMMdd";

QString SerialDirPath(const QString& serial);

/** The directory of an image set, without a trailing "/". */
QString ImageSetPath(const QString& serial, const QString& date);

/** What every file name of an image set begins with. */
QString ImageFilePrefix(const QString& serial, const QString& date);

QString BootSectorFileName(const QString& serial, const QString& date);
QString PartitionTableFileName(const QString& serial, const QString& date);

/** The absolute path of the partition-table file. */
QString PartitionTablePath(const QString& serial, const QString& date);

/** What the imaging command is given; it adds ".000" and so on. `part` is a name without "/dev/", as "hdc1". */
QString ImageBaseName(const QString& serial, const QString& date, const QString& part);
QString ImageFirstVolumeName(const QString& serial, const QString& date, const QString& part);

/** Whether `part` is the name of a partition of the hard disk, or of the disk itself where it has none. */
bool IsOfSourceDisk(const QString& part);

// The clone run. These use absolute paths, but for the image's base name.
QStringList MakeSerialDirCommand(const QString& serial);
QStringList MakeImageSetDirCommand(const QString& serial, const QString& date);
QStringList SaveBootSectorCommand(const QString& serial, const QString& date);
QStringList SavePartitionTableCommand(const QString& serial, const QString& date);
QStringList SavePartitionCommand(const QString& serial, const QString& date, const QString& part);

// The restore run. These name their files relative to the image set's directory, in which they have to be run.
QStringList RestoreBootSectorCommand(const QString& serial, const QString& date);
QStringList RestorePartitionTableCommand(const QString& serial, const QString& date);
QStringList RestorePartitionCommand(const QString& serial, const QString& date, const QString& part);
QStringList MakeSwapCommand(const QString& part);
QStringList ReinstallGrubCommand();

// The REV disk itself.

/** Lists the mounted UDF file systems, with sizes for people to read. */
QStringList UsageCommand();

/** Makes a new, empty UDF file system on the whole medium. @param device the drive, by any name */
QStringList FormatCommand(const QString& device = QLatin1String(revDevice));
} // namespace ImageStore
