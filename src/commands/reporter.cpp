// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "reporter.h"

#include "reportsocket.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>

#include <fcntl.h>
#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {
// As they were before this command changed them for itself: the window is for the operator.
const pid_t caller = getppid();
const char* const localeGiven = getenv("LC_ALL");
const std::string locale = localeGiven == nullptr ? "" : localeGiven;

bool HasDisplay()
{
    const auto isSet = [](const char* name) {
        const char* value = getenv(name);
        return value != nullptr && *value != '\0';
    };
    return isSet("DISPLAY") || isSet("WAYLAND_DISPLAY");
}

std::string Line(const QJsonObject& object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString() + "\n";
}

constexpr int windowsEnd = STDERR_FILENO + 1; ///< of the socket, in the window's process

/** The lock on the disk and the life line of a write guard are descriptors that programs inherit: not this one. */
void CloseAllDescriptors(int but)
{
    const int nothing = open("/dev/null", O_RDWR);
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        dup2(nothing, descriptor);
    if (but == windowsEnd)
        fcntl(but, F_SETFD, 0);
    else
        dup2(but, windowsEnd);
    if (close_range(windowsEnd + 1, ~0U, 0) == 0)
        return;
    for (long descriptor = sysconf(_SC_OPEN_MAX); descriptor > windowsEnd; --descriptor)
        close(static_cast<int>(descriptor));
}

/** Nothing of this command is left in the window's process, and its working folder keeps no medium from unmounting. */
[[noreturn]] void BecomeWindow(const std::string& program, int socket)
{
    CloseAllDescriptors(socket);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGPIPE})
        std::signal(signal, SIG_DFL);
    if (localeGiven != nullptr)
        setenv("LC_ALL", locale.c_str(), 1);
    else
        unsetenv("LC_ALL");
    if (chdir("/") == 0)
        execl(program.c_str(), "norvoReport", std::to_string(windowsEnd).c_str(), nullptr);
    _exit(1);
}

/** This command's end of a socket to the window, which holds what is told before the window can listen. */
Descriptor StartWindow()
{
    std::error_code error;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
    const std::string program = self.parent_path() / "norvoReport";
    if (!HasDisplay() || error || access(program.c_str(), X_OK) != 0)
        return {};
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends) != 0)
        return {};
    Descriptor own(ends[0]);
    const Descriptor windows(ends[1]);
    const pid_t child = fork();
    if (child == 0) {
        setsid();
        if (fork() != 0)
            _exit(0);
        BecomeWindow(program, windows.Get());
    }
    if (child > 0)
        waitpid(child, nullptr, 0);
    return own;
}
} // namespace

void Reporter::Begin(const std::string& tablePath, const std::string& line)
{
    std::error_code error;
    const std::filesystem::path path = std::filesystem::absolute(tablePath, error).lexically_normal();
    greeting
        = Line({{QStringLiteral("table"), QString::fromStdString(path)}, {QStringLiteral("caller"), caller}}) + line;
    if (socket || Connect())
        return;
    socket = StartWindow();
    queue = greeting;
    Flush();
}

void Reporter::Enter(const std::string& phase)
{
    this->phase = phase;
    if (!greeting.empty())
        Tell(Line({{QStringLiteral("phase"), QString::fromStdString(phase)}}));
}

void Reporter::Progress(uint64_t done, uint64_t total)
{
    if (greeting.empty() || (!socket && !Connect()))
        return;
    Flush();
    if (queue.empty() && !IsCrowded()) {
        Tell(Line({{QStringLiteral("phase"), QString::fromStdString(phase)},
            {QStringLiteral("done"), static_cast<double>(done)},
            {QStringLiteral("total"), static_cast<double>(total)}}));
    }
}

void Reporter::End(const std::string& line)
{
    Tell(line);
}

/** Whether somebody listens; it is told at once what has begun. */
bool Reporter::Connect()
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

void Reporter::Tell(const std::string& line)
{
    if (!socket && !Connect())
        return;
    queue += line;
    Flush();
    if (!socket && Connect()) { // another window listens
        queue += line;
        Flush();
    }
}

void Reporter::Flush()
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
bool Reporter::IsCrowded() const
{
    int room = 0, waiting = 0;
    socklen_t size = sizeof room;
    return getsockopt(socket.Get(), SOL_SOCKET, SO_SNDBUF, &room, &size) != 0
        || ioctl(socket.Get(), SIOCOUTQ, &waiting) != 0 || waiting > room / 2;
}
