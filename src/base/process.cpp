// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "process.h"

#include "failure.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {
/** In a new process: the end of the command is its own end too, and signals do what they do by themselves. */
void PrepareChild(pid_t parent, pid_t group)
{
    setpgid(0, group);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent)
        _exit(1);
    StopRequest::Unwatch();
}

void Redirect(int from, int to)
{
    if (from == to)
        fcntl(to, F_SETFD, 0);
    else
        dup2(from, to);
}

/** partclone's line of progress ends with neither a line feed nor a blank before it says something else. */
std::string WithoutProgress(const std::string& line)
{
    const size_t end = line.rfind('%');
    return line.rfind("Elapsed: ", 0) == 0 && end != std::string::npos ? line.substr(end + 1) : line;
}

bool IsPointerToLog(std::string line)
{
    std::transform(line.begin(), line.end(), line.begin(), [](unsigned char c) {
        return std::tolower(c);
    });
    return line.find("please check") != std::string::npos || line.rfind("error exit", 0) == 0;
}
} // namespace

std::string StageEnd::LastWords() const
{
    // What one that was killed has said before is not why.
    if (WIFSIGNALED(status))
        return name + " was ended by signal " + std::to_string(WTERMSIG(status));
    std::string text = said;
    std::replace(text.begin(), text.end(), '\r', '\n');
    std::istringstream lines(text);
    std::string last;
    for (std::string line; std::getline(lines, line);) {
        line = WithoutProgress(line);
        const size_t begin = line.find_first_not_of(" \t\b");
        if (begin != std::string::npos && !IsPointerToLog(line))
            last = line.substr(begin);
    }
    while (!last.empty() && std::isspace(static_cast<unsigned char>(last.back())))
        last.pop_back();
    if (!last.empty())
        return last;
    return name + " ended with status " + std::to_string(WEXITSTATUS(status));
}

Pipeline::Pipeline() = default;

Pipeline::~Pipeline()
{
    Kill();
}

void Pipeline::Kill()
{
    if (group > 0 && std::any_of(stages.begin(), stages.end(), [](const Stage& stage) {
            return stage.pid > 0;
        }))
        kill(-group, SIGKILL);
    // One that waits for a slow disk ends when that has answered; nobody else has to wait for it.
    int tries = 40;
    for (Stage& stage : stages) {
        while (stage.pid > 0 && waitpid(stage.pid, nullptr, WNOHANG) == 0 && tries-- > 0)
            usleep(5000);
        stage.pid = -1;
    }
}

void Pipeline::Launch(const std::string& name, Descriptor input, Descriptor output, const std::function<void()>& run)
{
    auto [voice, mouth] = Descriptor::Pipe();
    const Descriptor nowhere = Descriptor::Open("/dev/null", O_RDWR);
    const pid_t parent = getpid();
    const pid_t pid = fork();
    if (pid < 0)
        throw SystemFailure(ExitStatus::Failed, name + " cannot be started", errno);
    if (pid == 0) {
        PrepareChild(parent, group);
        Redirect(input ? input.Get() : nowhere.Get(), STDIN_FILENO);
        Redirect(output ? output.Get() : nowhere.Get(), STDOUT_FILENO);
        Redirect(mouth.Get(), STDERR_FILENO);
        run();
        _exit(127);
    }
    if (group == 0)
        group = pid;
    setpgid(pid, group);
    fcntl(voice.Get(), F_SETFL, O_NONBLOCK);
    Stage stage;
    stage.end.name = name;
    stage.pid = pid;
    stage.voice = std::move(voice);
    stages.push_back(std::move(stage));
}

void Pipeline::Start(
    const std::vector<std::string>& command, Descriptor input, Descriptor output, const std::function<void()>& prepare)
{
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string& argument : command)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    Launch(command.front(), std::move(input), std::move(output), [&arguments, &prepare] {
        if (prepare)
            prepare();
        execvp(arguments.front(), arguments.data());
        dprintf(STDERR_FILENO, "%s cannot be started: %s\n", arguments.front(), strerror(errno));
    });
}

void Pipeline::StartFunction(const std::string& name, const std::function<int()>& function, Descriptor input)
{
    Launch(name, std::move(input), {}, [&name, &function] {
        prctl(PR_SET_NAME, ("norvo-" + name).c_str());
        try {
            _exit(function());
        } catch (const std::exception& error) {
            dprintf(STDERR_FILENO, "%s\n", error.what());
        } catch (const Interrupted&) {
            // who started it was asked to end
        } catch (...) { // nothing may leave it: what stands behind this call is the parent's own work
            dprintf(STDERR_FILENO, "an unexpected error\n");
        }
    });
}

/** Takes what a stage has said so far. */
void Pipeline::Hear(Stage& stage)
{
    constexpr size_t most = 16384;
    char buffer[4096];
    for (;;) {
        const ssize_t count = read(stage.voice.Get(), buffer, sizeof buffer);
        if (count > 0) {
            stage.end.said.append(buffer, count);
            if (stage.end.said.size() > 2 * most)
                stage.end.said.erase(0, stage.end.said.size() - most);
        } else if (count == 0 || (errno != EAGAIN && errno != EINTR)) {
            stage.voice.Close();
            return;
        } else if (errno == EAGAIN) {
            return;
        }
    }
}

void Pipeline::Wait(std::vector<pollfd>& wanted, int timeout)
{
    StopRequest::Check();
    std::vector<pollfd> all = wanted;
    all.push_back({StopRequest::Descriptor(), POLLIN, 0});
    for (const Stage& stage : stages)
        all.push_back({stage.voice.Get(), POLLIN, 0});
    if (poll(all.data(), all.size(), timeout) < 0) {
        for (pollfd& entry : all)
            entry.revents = 0;
    }
    StopRequest::Check();
    std::copy(all.begin(), all.begin() + static_cast<ptrdiff_t>(wanted.size()), wanted.begin());
    for (size_t i = 0; i < stages.size(); ++i) {
        if (all[wanted.size() + 1 + i].revents != 0)
            Hear(stages[i]);
    }
}

const StageEnd& Pipeline::WaitFor(size_t index)
{
    Stage& stage = stages.at(index);
    std::vector<pollfd> none;
    // A process that the stage has left behind may hold its standard error for ever: its own end counts.
    for (int status = 0; stage.pid > 0;) {
        if (waitpid(stage.pid, &status, WNOHANG) == stage.pid) {
            stage.end.status = status;
            stage.pid = -1;
            if (stage.voice)
                Hear(stage);
        } else {
            Wait(none, stage.voice ? 20 : 5);
        }
    }
    return stage.end;
}

void Pipeline::Dismiss(size_t index)
{
    Stage& stage = stages.at(index);
    if (stage.pid <= 0)
        return;
    if (waitpid(stage.pid, &stage.end.status, WNOHANG) == 0) {
        kill(stage.pid, SIGKILL);
        waitpid(stage.pid, nullptr, 0);
        stage.end.status = 0;
    }
    stage.pid = -1;
    Hear(stage);
}

std::vector<StageEnd> Pipeline::Finish()
{
    std::vector<StageEnd> ends;
    for (size_t i = 0; i < stages.size(); ++i)
        ends.push_back(WaitFor(i));
    stages.clear();
    group = 0;
    return ends;
}

StageEnd RunProgram(const std::vector<std::string>& command, std::string* output, const std::function<void()>& prepare)
{
    Pipeline pipeline;
    Descriptor reader;
    if (output == nullptr) {
        pipeline.Start(command, {}, {}, prepare);
        return pipeline.Finish().front();
    }
    auto [out, in] = Descriptor::Pipe();
    pipeline.Start(command, {}, std::move(in), prepare);
    fcntl(out.Get(), F_SETFL, O_NONBLOCK);
    for (char buffer[4096];;) {
        std::vector<pollfd> wanted = {{out.Get(), POLLIN, 0}};
        pipeline.Wait(wanted, 1000);
        const ssize_t count = read(out.Get(), buffer, sizeof buffer);
        if (count > 0)
            output->append(buffer, count);
        else if (count == 0 || (errno != EAGAIN && errno != EINTR))
            return pipeline.Finish().front();
    }
}

StageEnd RunFunction(const std::string& name, const std::function<int()>& function)
{
    Pipeline pipeline;
    pipeline.StartFunction(name, function);
    return pipeline.Finish().front();
}

bool HasCommand(const std::string& name)
{
    const char* path = getenv("PATH");
    std::istringstream folders(path == nullptr ? "" : path);
    for (std::string folder; std::getline(folders, folder, ':');) {
        if (access((folder + "/" + name).c_str(), X_OK) == 0)
            return true;
    }
    return false;
}

void NeedCommands(const std::vector<std::string>& names)
{
    for (const std::string& name : names) {
        if (!HasCommand(name)) {
            throw Failure(
                ExitStatus::Tool, "the command " + name + " is not installed: install the package that has it");
        }
    }
}
