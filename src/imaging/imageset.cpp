// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "imageset.h"

#include "failure.h"
#include "medium.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <set>

#include <dirent.h>

namespace {
/** Folders that operating systems leave at the top of a medium. */
const std::set<std::string> ofSystems = {"lost+found", "System Volume Information", "$RECYCLE.BIN"};

/** A folder in a folder. */
struct Folder
{
    std::string name;  ///< empty: there may be others
    std::string fault; ///< why it can't be looked at; empty where it can
};

/** Calls `work` with each name in a folder; 0, or the number of the error that ended it. */
template <class Work> int ForEachName(const std::string& folder, const Work& work)
{
    Descriptor descriptor = Medium::OpenFolder(folder);
    DIR* const entries = descriptor ? fdopendir(descriptor.Release()) : nullptr;
    if (entries == nullptr)
        return errno;
    errno = 0;
    for (const dirent* entry = nullptr; (entry = readdir(entries)) != nullptr; errno = 0)
        work(std::string(entry->d_name));
    const int error = errno;
    closedir(entries);
    return error;
}

/** What is wrong with what is called so in a folder, if that may be a folder; nothing where it is none. */
std::optional<std::string> FaultOf(const std::string& path)
{
    if (Medium::OpenFolder(path))
        return "";
    if (errno == ENOTDIR || errno == ENOENT) // a file, or a link to nothing
        return {};
    return Medium::Refusal(ExitStatus::Damaged, path + ": cannot be read", errno).what();
}

/** In the order of their names, hidden ones only where they are `wanted`; what can't be looked at may be one. */
std::vector<Folder> Folders(const std::string& folder, const std::string& wanted)
{
    std::vector<Folder> folders;
    const int error = ForEachName(folder, [&](const std::string& name) {
        if ((name.front() == '.' && name != wanted) || name == "." || name == ".." || ofSystems.count(name) > 0)
            return;
        if (const auto fault = FaultOf(folder + "/" + name))
            folders.push_back({name, *fault});
    });
    if (error != 0)
        folders.push_back({"", Medium::Refusal(ExitStatus::Damaged, folder + ": cannot be read", error).what()});
    std::sort(folders.begin(), folders.end(), [](const Folder& one, const Folder& other) {
        return one.name < other.name;
    });
    return folders;
}

/** The paths of all that bears the set's name. */
std::vector<std::string> FilesOf(const ImageSet& set)
{
    std::vector<std::string> paths;
    ForEachName(set.folder, [&](const std::string& name) {
        if (name.rfind(set.Prefix(), 0) == 0)
            paths.push_back(set.folder + "/" + name);
    });
    return paths;
}
} // namespace

std::vector<ImageSet> FindSets(const std::string& store, const std::string& serial, const std::string& date)
{
    Medium::UseRoot(store);
    std::vector<ImageSet> sets;
    for (const Folder& machine : Folders(store, serial)) {
        if (machine.name.empty())
            throw Failure(ExitStatus::Missing, machine.fault);
        if (!serial.empty() && machine.name != serial)
            continue;
        const std::string folder = store + "/" + machine.name;
        for (const Folder& day :
            machine.fault.empty() ? Folders(folder, date) : std::vector<Folder>{{"", machine.fault}}) {
            if (date.empty() || day.name.empty() || day.name == date)
                sets.push_back({machine.name, day.name, folder + "/" + day.name, day.fault});
        }
    }
    return sets;
}

bool IsOpenToAll(const ImageSet& set)
{
    const auto allows = [](const std::string& path, mode_t mode) {
        const auto status = Medium::Look(path);
        return status && (S_ISLNK(status->st_mode) || (status->st_mode & mode) == mode);
    };
    const std::string serialFolder = set.folder.substr(0, set.folder.rfind('/'));
    if (!allows(serialFolder, S_IXOTH) || !allows(set.folder, S_IXOTH))
        return false;
    const std::vector<std::string> files = FilesOf(set);
    return std::any_of(files.begin(), files.end(), [&](const std::string& path) {
        return allows(path, S_IFREG | S_IROTH);
    });
}
