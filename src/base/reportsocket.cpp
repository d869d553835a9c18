// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "reportsocket.h"

#include <cstdlib>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
/** A folder of this user that, by its mode, nobody else can do in what these bits would allow. */
bool IsSafe(const std::string& folder, mode_t others)
{
    struct stat status = {};
    return lstat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == geteuid()
        && (status.st_mode & others) == 0;
}

bool Make(const std::string& folder)
{
    mkdir(folder.c_str(), S_IRWXU);
    return IsSafe(folder, S_IRWXG | S_IRWXO);
}
} // namespace

std::string ReportSocket::Path(const std::string& run)
{
    constexpr char name[] = "/report";
    const char* runtime = getenv("XDG_RUNTIME_DIR");
    // With the variables of another user, as after su, the folder is that user's.
    if (runtime != nullptr && *runtime == '/' && IsSafe(runtime, S_IWGRP | S_IWOTH)) {
        const std::string folder = runtime + std::string("/norvo-clone-restore");
        if (Make(folder))
            return folder + name;
    }
    const std::string folder = run + "/norvo-clone-restore-" + std::to_string(geteuid());
    return Make(folder) ? folder + name : std::string();
}

sockaddr_un ReportSocket::Address(const std::string& path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() < sizeof address.sun_path)
        path.copy(address.sun_path, path.size());
    return address;
}

ReportSocket::Listening ReportSocket::Listen()
{
    constexpr int most = 64; // connections that wait to be taken
    const std::string path = Path();
    if (path.empty())
        return {};
    Listening listening;
    listening.lock = Descriptor::Open(path + ".lock", O_RDWR | O_CREAT, 0600);
    if (!listening.lock || flock(listening.lock.Get(), LOCK_EX | LOCK_NB) != 0)
        return {};
    unlink(path.c_str());
    const sockaddr_un address = Address(path);
    listening.socket = Descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!listening.socket
        || bind(listening.socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0
        || listen(listening.socket.Get(), most) != 0)
        return {};
    return listening;
}

bool ReportSocket::IsOwn(int descriptor)
{
    ucred peer = {};
    socklen_t size = sizeof peer;
    return getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == geteuid();
}
