// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "ties.h"

#include "descriptor.h"
#include "failure.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <sstream>

#include <fcntl.h>
#include <unistd.h>

namespace {
constexpr size_t mostBytes = 1 << 16;

constexpr char explanation[]
    = "# Which drive is /dev/hdb (the REV drive) and which is /dev/hdc (the hard disk that is\n"
      "# cloned and restored). norvoDevices writes this file; it may be edited too. A drive\n"
      "# has to have all that its part says:\n"
      "#   model   what it calls itself\n"
      "#   serial  its serial number\n"
      "#   wwn     its World Wide Name\n"
      "#   place   where it is connected\n"
      "# with one of the last three at least. After a change: norvoDevices --apply\n";

constexpr std::pair<const char*, std::string Identity::*> keys[] = {
    {"model", &Identity::model}, {"serial", &Identity::serial}, {"wwn", &Identity::wwn}, {"place", &Identity::place}};

std::string Trimmed(const std::string& text)
{
    const size_t begin = text.find_first_not_of(" \t");
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
}

/** Reads the file line by line. What it throws is a Remark without file and line. */
class Reader
{
public:
    void Take(const std::string& line)
    {
        std::string visible = line;
        std::replace(visible.begin(), visible.end(), '\t', ' ');
        if (Printable(visible) != visible)
            throw Remark("a control character, or bytes that are not UTF-8");
        const std::string text = Trimmed(line);
        if (text.empty() || text.front() == '#')
            return;
        if (text.front() == '[')
            Open(text);
        else
            Set(text);
    }

    /** Before the next part, and at the end of the file. */
    void Close() const
    {
        if (current != nullptr && (*current)->serial.empty() && (*current)->wwn.empty() && (*current)->place.empty())
            throw Remark("the part above has neither serial, wwn nor place: many drives would answer to it");
    }

    Ties ties;

private:
    void Open(const std::string& text)
    {
        Close();
        if (text != "[rev]" && text != "[disk]")
            throw Remark("\"%1\" is neither [rev] nor [disk]", {text});
        current = text == "[rev]" ? &ties.rev : &ties.disk;
        if (*current)
            throw Remark("%1 is there twice", {text});
        current->emplace();
    }

    void Set(const std::string& text)
    {
        const size_t sign = text.find('=');
        if (sign == std::string::npos)
            throw Remark("\"%1\" is not of the form key = value", {text});
        const std::string key = Trimmed(text.substr(0, sign));
        const auto* const known = std::find_if(std::begin(keys), std::end(keys), [&key](const auto& each) {
            return key == each.first;
        });
        if (known == std::end(keys))
            throw Remark("\"%1\" is not a key; they are model, serial, wwn and place", {key});
        if (current == nullptr)
            throw Remark("[rev] or [disk] has to come first");
        std::string& value = (*current).value().*(known->second);
        if (!value.empty())
            throw Remark("%1 is there twice", {key});
        value = Trimmed(text.substr(sign + 1));
        if (value.empty())
            throw Remark("%1 has no value", {key});
    }

    std::optional<Identity>* current = nullptr;
};

std::string PartText(const char* name, const std::optional<Identity>& chosen)
{
    std::string text;
    if (!chosen)
        return text;
    text = std::string("\n[") + name + "]\n";
    for (const auto& [key, member] : keys) {
        if (!(*chosen.*member).empty())
            text += std::string(key) + " = " + *chosen.*member + "\n";
    }
    return text;
}

[[noreturn]] void ThrowCannot(const std::string& path, int error)
{
    const std::vector<Remark> names = {path, std::string(strerror(error))};
    throw Failure(ExitStatus::Failed,
        geteuid() == 0 ? Remark("%1 cannot be written: %2", names)
                       : Remark("%1 cannot be written; run it as root: %2", names));
}
} // namespace

Ties Ties::Parse(const std::string& text, const std::string& path)
{
    Reader reader;
    size_t number = 0;
    try {
        std::istringstream stream(text);
        for (std::string line; std::getline(stream, line);) {
            ++number;
            reader.Take(line);
        }
        reader.Close();
    } catch (const Remark& reason) {
        throw Failure(ExitStatus::Damaged,
            Remark("%1:%2: %3; mend this line, or forget the choice with: norvoDevices --clear",
                {path, std::to_string(number), reason}));
    }
    return reader.ties;
}

std::string Ties::Text() const
{
    return explanation + PartText("rev", rev) + PartText("disk", disk);
}

Ties Ties::Read(const std::string& path)
{
    if (access(path.c_str(), F_OK) != 0 && errno == ENOENT)
        return {};
    return Parse(ReadFile(path, mostBytes), path);
}

void Ties::Write(const std::string& path) const
{
    if (IsEmpty()) {
        if (unlink(path.c_str()) != 0 && errno != ENOENT)
            ThrowCannot(path, errno);
        return;
    }
    const std::string text = Text();
    if (Parse(text, path).Text() != text) // what a drive says of itself may not fit into the file
        throw Failure(ExitStatus::Refused, Remark("%1: what the drive says of itself cannot stand there", {path}));
    std::error_code error;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), error);
    const std::string beside = path + ".new";
    Descriptor out = Descriptor::Open(beside, O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (!out || !WriteAll(out.Get(), text.data(), text.size()) || fsync(out.Get()) != 0
        || rename(beside.c_str(), path.c_str()) != 0)
        ThrowCannot(path, errno);
}

bool Matches(const Identity& drive, const Identity& chosen)
{
    return std::all_of(std::begin(keys), std::end(keys), [&](const auto& each) {
        return (chosen.*each.second).empty() || chosen.*each.second == drive.*each.second;
    });
}

std::string ChoiceText(const Identity& chosen)
{
    std::string text;
    for (const auto& [key, member] : keys) {
        if (!(chosen.*member).empty())
            text += (text.empty() ? "" : ", ") + std::string(key) + " " + chosen.*member;
    }
    return text;
}
