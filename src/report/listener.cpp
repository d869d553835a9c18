// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "listener.h"

#include <QSocketNotifier>

#include <cerrno>

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
}

bool Listener::Start(ReportSocket::Listening given)
{
    listening = given.socket ? std::move(given) : ReportSocket::Listen();
    if (!listening.socket)
        return false;
    auto* const notifier = new QSocketNotifier(listening.socket.Get(), QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &Listener::ReadAll);
    return true;
}

/**
 * Not only what can be read where something was said: that the run is over comes on another connection than the last
 * words of its last command, which were said before.
 */
void Listener::ReadAll()
{
    constexpr int most = 100; // rounds, before the window gets its turn
    for (int round = 0; round < most; ++round) {
        bool heard = Accept();
        const QList<int> open = peers.keys();
        for (const int connection : open)
            heard = Read(connection) || heard;
        if (!heard) {
            Q_EMIT quiet();
            return;
        }
    }
}

bool Listener::Accept()
{
    const int connection = accept4(listening.socket.Get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (connection < 0)
        return false;
    if (!ReportSocket::IsOwn(connection)) {
        close(connection);
        return true;
    }
    auto* const notifier = new QSocketNotifier(connection, QSocketNotifier::Read, this);
    peers.insert(connection, {notifier, {}});
    connect(notifier, &QSocketNotifier::activated, this, &Listener::ReadAll);
    return true;
}

/** Whether there was something to read, be it the end. */
bool Listener::Read(int connection)
{
    constexpr int longest = 1 << 20; // of a line: longer ones are not from a command
    char buffer[16384];
    const ssize_t count = read(connection, buffer, sizeof buffer);
    if (count < 0 && (errno == EAGAIN || errno == EINTR))
        return errno == EINTR;
    if (count <= 0) {
        Drop(connection);
        return true;
    }
    QByteArray text = peers[connection].rest + QByteArray(buffer, static_cast<int>(count));
    for (int end = text.indexOf('\n'); end >= 0; end = text.indexOf('\n')) {
        Q_EMIT said(connection, text.left(end));
        text.remove(0, end + 1);
    }
    peers[connection].rest = text;
    if (text.size() > longest)
        Drop(connection);
    return true;
}

void Listener::Drop(int connection)
{
    QSocketNotifier* const notifier = peers.take(connection).notifier;
    notifier->setEnabled(false);
    notifier->deleteLater();
    close(connection);
    Q_EMIT closed(connection);
}
