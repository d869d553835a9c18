// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "stand.h"

#include <KLed>

#include <QApplication>
#include <QDir>
#include <QMessageBox>
#include <cerrno>
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

int Kernel::mountErrno = 0;
int Kernel::umountErrno = 0;
QStringList Kernel::calls;

extern "C" int mount(
    const char* source, const char* target, const char* type, unsigned long flags, const void* data) noexcept
{
    Kernel::calls.append(QString("mount %1 %2 %3 %4 '%5'")
                             .arg(QLatin1String(source), QLatin1String(target), QLatin1String(type))
                             .arg(flags)
                             .arg(QLatin1String(static_cast<const char*>(data))));
    errno = Kernel::mountErrno;
    return errno == 0 ? 0 : -1;
}

extern "C" int umount(const char* target) noexcept
{
    Kernel::calls.append("umount " + QLatin1String(target));
    errno = Kernel::umountErrno;
    return errno == 0 ? 0 : -1;
}

Commands::Commands()
    : searchPath(qgetenv("PATH"))
{
    qputenv("PATH", QFile::encodeName(dir.path()));
    const QByteArray path = QFile::encodeName(File("gate"));
    mkfifo(path.constData(), 0600);
    gate = open(path.constData(), O_RDWR | O_CLOEXEC);
}

Commands::~Commands()
{
    close(gate);
    qputenv("PATH", searchPath);
}

QString Commands::File(const QString& name) const
{
    return dir.filePath(name);
}

void Commands::Add(const QString& name, const QByteArray& body)
{
    QFile file(File(name));
    file.open(QIODevice::WriteOnly);
    file.write("#!/bin/bash\n"
               "hold() { read -r <\"${0%/*}/gate\"; }\n"
               "printf '%s\\0' $(($# + 2)) \"$PWD\" \"${0##*/}\" \"$@\" >>\"${0%/*}/calls\"\n"
        + body + '\n');
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

void Commands::AddReal(const QString& program)
{
    QFile::link(program, File(QFileInfo(program).fileName()));
}

QByteArray Commands::Print(const QByteArray& bytes, bool oneByOne)
{
    QByteArray body = "printf '";
    for (int i = 0; i < bytes.size(); ++i) {
        if (oneByOne && i > 0)
            body += "'; printf '";
        body += "\\" + QByteArray::number(static_cast<uchar>(bytes.at(i)), 8).rightJustified(3, '0');
    }
    return body + "'\n";
}

void Commands::During(const QString& name, const std::function<void()>& action)
{
    ++waiting;
    auto* const timer = new QTimer(&context);
    QObject::connect(timer, &QTimer::timeout, timer, [=] {
        if (!Calls().contains(name) && Calls().filter(name + '|').isEmpty())
            return;
        timer->deleteLater();
        timer->stop();
        action();
        --waiting;
        if (write(gate, "\n", 1) != 1)
            qFatal("%s can't be let go on", qPrintable(name));
    });
    timer->start(5);
}

QList<QByteArrayList> Commands::Records() const
{
    QFile file(File("calls"));
    file.open(QIODevice::ReadOnly);
    QByteArrayList items = file.readAll().split('\0');
    QList<QByteArrayList> records;
    while (items.size() > 1 && items.size() > items.first().toInt()) {
        const int count = items.takeFirst().toInt();
        records.append(items.mid(0, count));
        items = items.mid(count);
    }
    return records;
}

QStringList Commands::Calls() const
{
    QStringList calls;
    for (const QByteArrayList& record : Records())
        calls.append(QString::fromUtf8(record.mid(1).join('|')));
    return calls;
}

QStringList Commands::Directories() const
{
    QStringList directories;
    for (const QByteArrayList& record : Records())
        directories.append(QString::fromUtf8(record.first()));
    return directories;
}

void Commands::Clear()
{
    for (const QString& name : QDir(dir.path()).entryList(QDir::Files))
        QFile::remove(File(name));
    waiting = 0;
}

Boxes::Boxes()
{
    QObject::connect(&timer, &QTimer::timeout, &timer, [this] {
        Look();
    });
    timer.start(10);
}

void Boxes::Expect(const QString& box, Qt::Key answer, const std::function<void()>& meanwhile)
{
    expected.enqueue({box, answer, meanwhile});
}

void Boxes::ExpectError(const QString& text)
{
    Expect(QString("Critical|Error|%1|OK").arg(text));
}

void Boxes::Clear()
{
    expected.clear();
}

void Boxes::Look()
{
    auto* const box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
    if (box == nullptr)
        return;
    static const char* const icons[] = {"NoIcon", "Information", "Warning", "Critical", "Question"};
    QStringList content = {QLatin1String(icons[box->icon()]), box->windowTitle(), box->text()};
    for (QAbstractButton* button : box->buttons())
        content.append(button->text().remove('&'));
    const Answer answer = expected.isEmpty() ? Answer{"no box", Qt::Key_Escape, {}} : expected.dequeue();
    if (answer.meanwhile)
        answer.meanwhile();
    QTest::keyClick(box, answer.key);
    box->hide(); // in case that the key left it open: the test goes on, and fails
    QCOMPARE(content.join('|'), answer.box);
}

QString Stand::Led(QWidget* dialog)
{
    const QColor color = dialog->findChild<KLed*>()->color();
    return color == Qt::green ? "green" : color == Qt::red ? "red" : color.name();
}

void Stand::WriteFile(const QString& path, const QByteArray& content)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("%s can't be written", qPrintable(path));
}

QByteArray Stand::ReadFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("no file");
}

void Stand::initTestCase()
{
    QVERIFY2(qEnvironmentVariableIsSet("NORVO_TEST_SANDBOX"), "to be run by tests/sandbox");
}

void Stand::init()
{
    commands.Clear();
    boxes.Clear();
    Kernel::mountErrno = Kernel::umountErrno = 0;
    Kernel::calls.clear();
    QDir("/mnt/rev").removeRecursively();
    QDir("/etc/mtab").removeRecursively();
    QFile::remove("/etc/mtab");
    QDir().mkpath("/mnt/rev");
    WriteFile("/etc/mtab", {});
}

void Stand::cleanup()
{
    QCOMPARE(boxes.Expected(), 0);
    QCOMPARE(commands.waiting, 0);
}
