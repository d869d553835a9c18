// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "listener.h"

#include "reportsocket.h"

#include <QSocketNotifier>

#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <unistd.h>

Listener::Listener(QObject* parent)
    : QObject(parent)
{
}

Listener::~Listener()
{
    const QList<int> open = peers.keys();
    for (const int connection : open)
        close(connection);
    close(socket);
    close(lock);
}

bool Listener::Start()
{
    const std::string path = ReportSocket::Path();
    if (path.empty())
        return false;
    // Held as long as this process lives: what is left of one that was killed can be replaced.
    lock = open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (lock < 0 || flock(lock, LOCK_EX | LOCK_NB) != 0)
        return false;
    unlink(path.c_str());
    const sockaddr_un address = ReportSocket::Address(path);
    socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (socket < 0 || bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0
        || listen(socket, 16) != 0)
        return false;
    auto* const notifier = new QSocketNotifier(socket, QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &Listener::Accept);
    return true;
}

void Listener::Accept()
{
    const int connection = accept4(socket, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (connection >= 0)
        Take(connection);
}

void Listener::Take(int connection)
{
    if (!ReportSocket::IsOwn(connection)) {
        close(connection);
        return;
    }
    auto* const notifier = new QSocketNotifier(connection, QSocketNotifier::Read, this);
    peers.insert(connection, {notifier, {}});
    connect(notifier, &QSocketNotifier::activated, this, [this, connection] {
        Read(connection);
    });
}

void Listener::Read(int connection)
{
    constexpr int longest = 1 << 20; // of a line: longer ones are not from a command
    char buffer[16384];
    const ssize_t count = read(connection, buffer, sizeof buffer);
    if (count < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    if (count <= 0) {
        Drop(connection);
        return;
    }
    QByteArray text = peers[connection].rest + QByteArray(buffer, static_cast<int>(count));
    for (int end = text.indexOf('\n'); end >= 0; end = text.indexOf('\n')) {
        Q_EMIT said(connection, text.left(end));
        text.remove(0, end + 1);
    }
    peers[connection].rest = text;
    if (text.size() > longest)
        Drop(connection);
}

void Listener::Drop(int connection)
{
    QSocketNotifier* const notifier = peers.take(connection).notifier;
    notifier->setEnabled(false);
    notifier->deleteLater();
    close(connection);
    Q_EMIT closed(connection);
}
