// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <QStringList>

class QFile;

// What lies on a REV disk may have been put there by anybody. The commands that a run starts take care of themselves,
// but mkdir and dd would follow a link, wait for a pipe, or write as much onto the disk as they find.

/**
 * Why a run must not work with this set, for the operator; empty where it may, also where there is no such set yet.
 * Looked at are its path, and all that bears its name.
 */
QString FaultOfSet(const QString& serial, const QString& date);

/**
 * The lines of a set's partition-table file that describe a partition, as the file has them.
 * @param file gets its name, and is closed afterwards
 * @param lines filled where all is well, and left as it is otherwise
 * @return why the file can't be read, for the operator; empty where all is well
 */
QString ReadTableLines(QFile& file, const QString& serial, const QString& date, QStringList& lines);

/**
 * Why a run must not work on partitions of these names, which a partition-table file may have from anybody: they end in
 * the paths of devices that are written to. Empty where all are of the hard disk.
 */
QString FaultOfPartitions(const QStringList& names);

/** Why this machine's key can't be used, for the operator; empty where it can, and where there is none. */
QString FaultOfKey();

/**
 * Why a restore must not begin: where this machine's key asks for authentic sets alone, boot sector, table and the
 * images of these partitions have to be. Empty where they are, and where nobody asks.
 */
QString FaultOfAuthenticity(const QString& serial, const QString& date, const QStringList& names);

/** As long as this lives, no symbolic link on the REV disk is followed; unless one is part of the set's own path. */
class LinkBan
{
public:
    LinkBan(const QString& serial, const QString& date);
    ~LinkBan();
    LinkBan(const LinkBan&) = delete;
    LinkBan& operator=(const LinkBan&) = delete;

private:
    bool banned = false;
};
