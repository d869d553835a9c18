// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "descriptor.h"
#include "stoprequest.h"

#include <functional>
#include <string>
#include <vector>

#include <poll.h>
#include <sys/types.h>

/** How one stage of a pipeline ended. */
struct StageEnd
{
    std::string name; ///< of the program
    int status = 0;   ///< as waitpid() gives it
    std::string said; ///< its standard error, the last 16 KiB

    [[nodiscard]] bool Succeeded() const
    {
        return status == 0;
    }
    /** What it said last, leaving out pointers to its log; how it ended where it said nothing. */
    [[nodiscard]] std::string LastWords() const;
};

/**
 * Programs that run side by side in a process group of their own. None of them outlives this object, nor this process,
 * however that ends. What they say on standard error is kept in memory: no file system is needed for it.
 */
class Pipeline
{
public:
    Pipeline();
    ~Pipeline();
    Pipeline(const Pipeline&) = delete;
    Pipeline& operator=(const Pipeline&) = delete;

    /**
     * Starts a program.
     * @param command its name, found on the search path, then its arguments
     * @param input its standard input, closed here once it has it; nothing to read where empty
     * @param output its standard output; nowhere where empty
     * @param prepare called in the new process before the program, as a Confinement can be
     */
    void Start(const std::vector<std::string>& command, Descriptor input = {}, Descriptor output = {},
        const std::function<void()>& prepare = {});

    /**
     * The same for a function, which runs in a process of its own, "norvo-NAME" in the system's lists; its result is
     * that process's exit status. What it throws is said on standard error, and it has failed then.
     */
    void StartFunction(const std::string& name, const std::function<int()>& function, Descriptor input = {});

    /**
     * Waits until one of `wanted` is ready (revents tells which; an entry with descriptor -1 is passed over), `timeout`
     * milliseconds have passed, or a program has said something. Throws Interrupted.
     */
    void Wait(std::vector<pollfd>& wanted, int timeout);

    /** Waits for the end of the stage that was started as the number `index`, from 0. Throws Interrupted. */
    const StageEnd& WaitFor(size_t index);

    /** Ends one that has done its work, should it not have come to its end; it counts as having succeeded then. */
    void Dismiss(size_t index);

    /** Waits for the end of all of them; one entry a stage, in the order of starting. Throws Interrupted. */
    std::vector<StageEnd> Finish();

private:
    struct Stage
    {
        StageEnd end;
        pid_t pid = -1;
        ::Descriptor voice;
    };

    void Launch(const std::string& name, Descriptor input, Descriptor output, const std::function<void()>& run);
    void Hear(Stage& stage);
    void Kill();

    pid_t group = 0;
    std::vector<Stage> stages;
};

/** Runs one program without input to its end; what it writes to standard output goes to `output` where that is set. */
StageEnd RunProgram(
    const std::vector<std::string>& command, std::string* output = nullptr, const std::function<void()>& prepare = {});

/** The same for a function in a process of its own: for system calls that may not be interrupted. */
StageEnd RunFunction(const std::string& name, const std::function<int()>& function);

/** A Failure with `Tool` when one of these commands is not on the search path. */
void NeedCommands(const std::vector<std::string>& names);

bool HasCommand(const std::string& name);
