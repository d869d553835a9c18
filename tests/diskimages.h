// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "descriptor.h"
#include "failure.h"
#include "process.h"

#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <cstring>
#include <functional>
#include <random>

#include <fcntl.h>
#include <unistd.h>

/** The same numbers in each run; a run that fails names the seed. */
class Chance
{
public:
    explicit Chance(unsigned seed)
        : numbers(seed)
    {
        qInfo("the seed is %u", seed);
    }

    /** From `low` to `high`, both included. */
    uint64_t Number(uint64_t low, uint64_t high)
    {
        return std::uniform_int_distribution<uint64_t>(low, high)(numbers);
    }
    std::string Bytes(size_t size)
    {
        std::string bytes(size, '\0');
        for (size_t done = 0; done < size; done += sizeof(uint64_t)) {
            const uint64_t number = numbers();
            memcpy(bytes.data() + done, &number, std::min(sizeof number, size - done));
        }
        return bytes;
    }

private:
    std::mt19937_64 numbers;
};

/** What a call ends with: "75 TEXT" of its Failure, or nothing. */
template <class Call> QString Complaint(Call call)
{
    try {
        call();
    } catch (const Failure& failure) {
        return QString::number(static_cast<int>(failure.status)) + " " + failure.what();
    }
    return {};
}

/** An expression as a function, for a table of attempts. */
#define ATTEMPT(expression)                                                                                            \
    [] {                                                                                                               \
        return expression;                                                                                             \
    }

/** Whether it gives true in a process of its own. */
inline bool Succeeds(const std::function<bool()>& attempt)
{
    return RunFunction("attempt", [&attempt] {
        return attempt() ? 0 : 1;
    }).Succeeded();
}

/** Where tests/sandbox gives a folder in memory: forcing to the medium takes no time there. */
inline QString Scratch()
{
    if (!qEnvironmentVariableIsSet("NORVO_TEST_SANDBOX"))
        qFatal("to be run by tests/sandbox");
    return QStringLiteral("/mnt/rev/XXXXXX");
}

inline std::string Content(const std::string& path)
{
    return ReadFile(path, 1U << 30);
}

/** Puts bytes into a file, which is made where there is none. */
inline void Put(const std::string& path, const std::string& bytes, uint64_t offset = 0)
{
    const Descriptor file = Descriptor::Open(path, O_WRONLY | O_CREAT);
    if (!file || !WriteAt(file.Get(), bytes.data(), bytes.size(), offset))
        qFatal("%s cannot be written", path.c_str());
}

/** A new file of these bytes. */
inline std::string NewFile(const QTemporaryDir& folder, const std::string& name, const std::string& bytes)
{
    const std::string path = folder.filePath(name.c_str()).toStdString();
    unlink(path.c_str());
    Put(path, bytes);
    return path;
}

/** Runs a command of the system that has to succeed; gives what it writes. */
inline std::string Run(const std::vector<std::string>& command)
{
    std::string output;
    const StageEnd end = RunProgram(command, &output);
    if (!end.Succeeded())
        qFatal("%s: %s", command.front().c_str(), end.LastWords().c_str());
    return output;
}
