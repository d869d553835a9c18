// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "reporter.h"

#include "reportsocket.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <csignal>
#include <cstdlib>
#include <filesystem>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {
// As they were before this command changed them for itself: the window is for the operator.
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

constexpr int windowsSocket = STDERR_FILENO + 1; ///< in the window's process; the lock follows it

/** The lock on the disk and the life line of a write guard are descriptors that programs inherit: not by this one. */
void CloseAllDescriptors(const ReportSocket::Listening& but)
{
    const int nothing = open("/dev/null", O_RDWR);
    // First out of the way of the numbers that they get.
    const int socket = fcntl(but.socket.Get(), F_DUPFD, windowsSocket + 2);
    const int lock = fcntl(but.lock.Get(), F_DUPFD, windowsSocket + 2);
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        dup2(nothing, descriptor);
    dup2(socket, windowsSocket);
    dup2(lock, windowsSocket + 1);
    if (close_range(windowsSocket + 2, ~0U, 0) == 0)
        return;
    for (long descriptor = sysconf(_SC_OPEN_MAX); descriptor > windowsSocket + 1; --descriptor)
        close(static_cast<int>(descriptor));
}

/** Nothing of this command is left in the window's process, and its working folder keeps no medium from unmounting. */
[[noreturn]] void BecomeWindow(const std::string& program, const ReportSocket::Listening& listening)
{
    CloseAllDescriptors(listening);
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
        execl(program.c_str(), "norvoReport", std::to_string(windowsSocket).c_str(), nullptr);
    _exit(1);
}

/** It listens from now on, also for the program and other commands: what they say waits until the window is there. */
void StartWindow()
{
    std::error_code error;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
    const std::string program = self.parent_path() / "norvoReport";
    if (!HasDisplay() || error || access(program.c_str(), X_OK) != 0)
        return;
    const ReportSocket::Listening listening = ReportSocket::Listen();
    if (!listening.socket)
        return;
    const pid_t child = fork();
    if (child == 0) {
        setsid();
        if (fork() != 0)
            _exit(0);
        BecomeWindow(program, listening);
    }
    if (child > 0)
        waitpid(child, nullptr, 0);
}
} // namespace

void Reporter::Begin(const std::string& tablePath, const std::string& line)
{
    std::error_code error;
    const std::filesystem::path path = std::filesystem::absolute(tablePath, error).lexically_normal();
    channel.Greet(Line({{QStringLiteral("table"), QString::fromStdString(path)}}) + line);
    hasBegun = true;
    if (channel.Connect())
        return;
    StartWindow();
    channel.Connect();
}

void Reporter::Enter(const std::string& phase)
{
    this->phase = phase;
    if (hasBegun)
        channel.Tell(Line({{QStringLiteral("phase"), QString::fromStdString(phase)}}));
}

void Reporter::Progress(uint64_t done, uint64_t total)
{
    if (!hasBegun || !channel.HasRoom())
        return;
    channel.Tell(Line({{QStringLiteral("phase"), QString::fromStdString(phase)},
        {QStringLiteral("done"), static_cast<double>(done)}, {QStringLiteral("total"), static_cast<double>(total)}}));
}

void Reporter::End(const std::string& line)
{
    channel.Tell(line);
}
