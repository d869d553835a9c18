// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "reportchannel.h"

#include "reportsocket.h"

#include <cerrno>

#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

void ReportChannel::Greet(const std::string& lines)
{
    greeting = lines;
}

bool ReportChannel::Connect()
{
    char nothing = 0;
    if (socket && recv(socket.Get(), &nothing, 1, MSG_PEEK | MSG_DONTWAIT) == 0) // the window says nothing: it is gone
        socket.Close();
    if (!socket)
        return Open();
    Flush();
    return bool(socket);
}

bool ReportChannel::Open()
{
    const std::string path = ReportSocket::Path();
    const sockaddr_un address = ReportSocket::Address(path);
    socket = Descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (path.empty() || !socket
        || connect(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0
        || !ReportSocket::IsOwn(socket.Get())) {
        socket.Close();
        return false;
    }
    queue = greeting;
    Flush();
    return bool(socket);
}

void ReportChannel::Tell(const std::string& line)
{
    if (!socket && !Open())
        return;
    queue += line;
    Flush();
    if (!socket && Open()) { // another window listens
        queue += line;
        Flush();
    }
}

bool ReportChannel::HasRoom()
{
    if (!socket && !Open())
        return false;
    Flush();
    return socket && queue.empty() && !IsCrowded();
}

void ReportChannel::Flush()
{
    while (socket && !queue.empty()) {
        const ssize_t sent = send(socket.Get(), queue.data(), queue.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (sent > 0) {
            queue.erase(0, static_cast<size_t>(sent));
        } else {
            if (errno != EAGAIN && errno != EINTR)
                socket.Close();
            return;
        }
    }
}

/** The second half of the socket's room is kept for what must not get lost. */
bool ReportChannel::IsCrowded() const
{
    int room = 0, waiting = 0;
    socklen_t size = sizeof room;
    return getsockopt(socket.Get(), SOL_SOCKET, SO_SNDBUF, &room, &size) != 0
        || ioctl(socket.Get(), SIOCOUTQ, &waiting) != 0 || waiting > room / 2;
}
