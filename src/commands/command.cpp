// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "command.h"

#include "about.h"
#include "failure.h"
#include "identity.h"
#include "medium.h"
#include "process.h"
#include "progress.h"
#include "runrecord.h"
#include "systemuse.h"
#include "worker.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdlib>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
/** A descriptor that is open, from the text behind --progress-fd. */
int ParseDescriptor(const std::string& text)
{
    const bool digits = !text.empty() && text.size() < 6 && std::all_of(text.begin(), text.end(), [](unsigned char c) {
        return std::isdigit(c) != 0;
    });
    if (!digits || fcntl(std::stoi(text), F_GETFL) < 0)
        throw Failure(ExitStatus::Usage, "--progress-fd takes the number of an open descriptor, not \"" + text + "\"");
    return std::stoi(text);
}

std::vector<std::string> ParseArguments(int argc, char** argv, const std::string& usage, size_t count)
{
    std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
    if (arguments.size() == count + 2 && arguments.front() == "--progress-fd") {
        Progress::Use(ParseDescriptor(arguments[1]));
        arguments.erase(arguments.begin(), arguments.begin() + 2);
    }
    if (arguments.size() != count)
        throw Failure(ExitStatus::Usage, usage);
    if (std::any_of(arguments.begin(), arguments.end(), [](const std::string& text) {
            return text.empty();
        }))
        throw Failure(ExitStatus::Usage, "an argument is empty; " + usage);
    return arguments;
}

/** Run by a desktop program, the search path may lack the system directories; texts of tools are compared. */
void PrepareEnvironment()
{
    const char* path = getenv("PATH");
    setenv("PATH",
        ((path == nullptr || *path == '\0' ? std::string() : path + std::string(":")) + "/usr/sbin:/sbin:/usr/bin:/bin")
            .c_str(),
        1);
    setenv("LC_ALL", "C", 1);
    const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
    dup2(nothing, STDIN_FILENO);
    // Descriptors that nobody has opened must not become those of a disk.
    for (const int descriptor : {STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) < 0)
            dup2(nothing, descriptor);
    }
    if (nothing > STDERR_FILENO)
        close(nothing);
    umask(022);
    for (const char* options : {"LBZIP2", "BZIP2", "BZIP"}) // lbzip2 would add them to its own
        unsetenv(options);
}

/** The run record is completed before the line for the operator: who reads that may look there. */
int Fail(ExitStatus status, const std::string& reason)
{
    RunRecord::End(reason);
    Warn(reason);
    return static_cast<int>(status);
}

/** That of `run`, or what it throws as one line on standard error and an exit status. */
int ExitStatusOf(const std::function<int()>& run)
{
    try {
        const int status = run();
        RunRecord::End("");
        return status;
    } catch (const Failure& failure) {
        return Fail(failure.status, failure.what());
    } catch (const Interrupted& interrupted) {
        return 128 + interrupted.signal;
    } catch (const std::exception& error) {
        return Fail(ExitStatus::Failed, std::string("an unexpected error: ") + error.what());
    }
}
} // namespace

int RunFrame(int argc, char** argv, const std::function<int()>& work)
{
    const std::string path = argc > 0 ? argv[0] : "norvo";
    SetCommandName(path.substr(path.rfind('/') + 1));
    if (AnswersQuestion(argc, argv, CommandName()))
        return 0;
    std::signal(SIGPIPE, SIG_IGN); // the exit status tells all, also when nobody listens any more
    PrepareEnvironment();
    return ExitStatusOf([&work] {
        return RunInWorker([&work] {
            return ExitStatusOf(work);
        });
    });
}

int RunCommandMain(
    int argc, char** argv, const std::string& synopsis, const std::function<void(const std::vector<std::string>&)>& run)
{
    return RunFrame(argc, argv, [&] {
        const size_t count = synopsis.empty() ? 0 : std::count(synopsis.begin(), synopsis.end(), ' ') + 1;
        run(ParseArguments(argc, argv, "usage: " + CommandName() + (synopsis.empty() ? "" : " " + synopsis), count));
        return 0;
    });
}

void NeedFolder(const std::string& path)
{
    if (Medium::OpenFolder(path))
        return;
    if (errno == ENOENT || errno == ENOTDIR)
        throw Failure(ExitStatus::Missing, path + ": no such directory");
    throw Medium::Refusal(ExitStatus::Missing, path + ": cannot be opened", errno);
}

void Introduce(const Device& disk)
{
    const Identity identity = Identity::Of(disk.number);
    Say(disk.name + ": " + DriveText(identity.model, identity.serial, disk.bytes));
    RefuseSystemDisk(disk);
}
