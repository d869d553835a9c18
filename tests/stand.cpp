// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "stand.h"

#include <QApplication>
#include <QMessageBox>
#include <QMetaEnum>
#include <cerrno>
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

extern "C" int mount(
    const char* source, const char* target, const char* type, unsigned long flags, const void* data) noexcept
{
    Kernel::calls.append(QString("mount %1 %2 %3 %4 '%5'")
                             .arg(source, target, type, QString::number(flags),
                                 data == nullptr ? "null" : static_cast<const char*>(data)));
    if (Kernel::onMount)
        Kernel::onMount();
    errno = Kernel::mountErrno;
    return errno == 0 ? 0 : -1;
}

extern "C" int umount(const char* target) noexcept
{
    Kernel::calls.append(QString("umount ") + target);
    errno = Kernel::umountErrno;
    return errno == 0 ? 0 : -1;
}

extern "C" int mount_setattr(
    int /*folder*/, const char* target, unsigned /*flags*/, mount_attr* attributes, size_t /*size*/) noexcept
{
    Kernel::attributes.append(
        QString("%1 %2 %3").arg(target).arg(attributes->attr_set, 0, 16).arg(attributes->attr_clr, 0, 16));
    errno = Kernel::attributeErrno;
    return errno == 0 ? 0 : -1;
}

QStringList ReportStandIn::Heard() const
{
    const Descriptor connection(accept(listening.socket.Get(), nullptr, nullptr));
    QByteArray said;
    char buffer[4096];
    for (ssize_t count = 0; (count = read(connection.Get(), buffer, sizeof buffer)) > 0;)
        said.append(buffer, count);
    return QString::fromUtf8(said).split('\n', Qt::SkipEmptyParts);
}

Commands::Commands()
{
    qputenv("PATH", QFile::encodeName(dir.path()));
    const QByteArray path = QFile::encodeName(dir.filePath("gate"));
    mkfifo(path.constData(), 0600);
    gate = open(path.constData(), O_RDWR | O_CLOEXEC);
}

void Commands::Add(const QString& name, const QByteArray& body)
{
    const QString path = dir.filePath(name);
    WriteFile(path,
        "#!/bin/bash\n"
        "IFS='|'\n"
        "hold() { read -rt 20 <\"${0%/*}/gate\"; }\n"
        "echo \"$PWD\" >>\"${0%/*}/directories\"\n"
        "echo \"${0##*/}${*:+|$*}\" >>\"${0%/*}/calls\"\n"
            + body + '\n');
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

void Commands::During(const QString& name, const std::function<void()>& action)
{
    ++waiting;
    auto* const timer = new QTimer(&context);
    QObject::connect(timer, &QTimer::timeout, timer, [=] {
        if (Calls().filter(name).isEmpty())
            return;
        timer->stop();
        action();
        --waiting;
        QCOMPARE(write(gate, "\n", 1), 1);
    });
    timer->start(5);
}

void Commands::Clear()
{
    for (const QString& name : QDir(dir.path()).entryList(QDir::Files))
        QFile::remove(dir.filePath(name));
    waiting = 0;
}

Boxes::Boxes()
{
    QObject::connect(&timer, &QTimer::timeout, &timer, [this] {
        Answer();
    });
    timer.start(10);
}

void Boxes::Answer()
{
    auto* const box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
    if (box == nullptr)
        return;
    QStringList content
        = {QMetaEnum::fromType<QMessageBox::Icon>().valueToKey(box->icon()), box->windowTitle(), box->text()};
    for (QAbstractButton* button : box->buttons())
        content.append(button->text().remove('&'));
    const Expected next = expected.isEmpty() ? Expected{"no box", Qt::Key_Escape} : expected.dequeue();
    if (next.meanwhile)
        next.meanwhile();
    QTest::keyClick(box, next.answer);
    box->hide(); // in case that the key left it open: the test goes on, and fails
    QCOMPARE(content.join('|'), next.box);
    QCOMPARE(box->textFormat(), Qt::PlainText);
}

void Stand::init()
{
    commands.Clear();
    boxes.expected.clear();
    Kernel::mountErrno = Kernel::umountErrno = 0;
    Kernel::attributeErrno = 0;
    Kernel::calls.clear();
    Kernel::attributes.clear();
    Kernel::onMount = nullptr;
    QDir("/mnt/rev").removeRecursively();
    QDir("/etc/mtab").removeRecursively();
    QFile::remove("/etc/mtab");
    QDir().mkpath("/mnt/rev");
    WriteFile("/etc/mtab", {});
}

void Stand::cleanup()
{
    QVERIFY2(boxes.expected.isEmpty(), "a message box did not come");
    QCOMPARE(commands.waiting, 0);
}
