// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "sessionlog.h"

#include "device.h"
#include "failure.h"
#include "imagestore.h"
#include "medium.h"
#include "mounts.h"

#include <QDateTime>
#include <QFile>
#include <QProcess>
#include <QSaveFile>

#include <cerrno>

#include <sys/mount.h>
#include <sys/stat.h>

namespace {
/** The REV disk, mounted as long as this lives; it stays so where it was before. */
class MountedRev
{
public:
    MountedRev()
    {
        const dev_t device = BlockNumber(ImageStore::revDevice);
        for (const Mount& mount : FindUses().mounts) {
            if (device != 0 && mount.device == device)
                place = mount.point;
        }
        if (!place.empty())
            return;
        mkdir(ImageStore::mountPoint, 0755);
        if (mount(ImageStore::revDevice, ImageStore::mountPoint, "udf", 0, "") != 0) {
            throw SystemFailure(ExitStatus::Refused,
                std::string(ImageStore::revDevice)
                    + " cannot be mounted; put in a REV disk, or format it with Rev Manager",
                errno);
        }
        place = ImageStore::mountPoint;
        mine = true;
        if (!Medium::RestrictMount(ImageStore::mountPoint))
            Warn(place + ": devices and programs there cannot be made useless");
    }
    ~MountedRev()
    {
        if (mine)
            umount(ImageStore::mountPoint);
    }
    MountedRev(const MountedRev&) = delete;
    MountedRev& operator=(const MountedRev&) = delete;

    [[nodiscard]] QString Place() const
    {
        return QString::fromStdString(place);
    }

private:
    std::string place;
    bool mine = false;
};

/** What a command says, under its own name. */
QByteArray Said(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    const QString title = (QStringList{program} + arguments).join(QLatin1Char(' '));
    if (!process.waitForFinished())
        return "== " + title.toLocal8Bit() + ": " + process.errorString().toLocal8Bit() + "\n";
    return "== " + title.toLocal8Bit() + "\n" + process.readAll() + "\n";
}
} // namespace

QString SaveSessionLog()
{
    const MountedRev rev;
    QString name = QDateTime::currentDateTime().toString(QStringLiteral("'norvo-log-'yyyyMMdd-HHmmss'.txt'"));
    QSaveFile file(rev.Place() + QLatin1Char('/') + name);
    if (Medium::Exists(QFile::encodeName(file.fileName()).toStdString())) // a link would be followed
        throw Failure(ExitStatus::Failed, name.toStdString() + " is there already; try again");
    if (file.open(QIODevice::WriteOnly)) {
        file.write(Said(QStringLiteral("norvoDevices"), {}));
        file.write(Said(QStringLiteral("lsblk"), {QStringLiteral("--fs")}));
        file.write(Said(QStringLiteral("journalctl"), {QStringLiteral("--boot"), QStringLiteral("--no-pager")}));
    }
    if (!file.commit())
        throw Failure(ExitStatus::Failed, name.toStdString() + ": " + file.errorString().toStdString());
    return name;
}
