// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "enclosure.h"

#include "capabilities.h"
#include "enclosedcalls.h"
#include "failure.h"
#include "mountspace.h"
#include "oversight.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>

#include <fcntl.h>
#include <linux/capability.h>
#include <poll.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {
namespace fs = std::filesystem;

constexpr unsigned long plain = MS_NOSUID | MS_NODEV | MS_NOEXEC;

constexpr int beyondLimits = 124; // how the process ends that oversees the program, when that had to be ended
#if defined(__SANITIZE_ADDRESS__)
constexpr rlim_t memory = RLIM_INFINITY; // the sanitizer reserves terabytes
#else
constexpr rlim_t memory = 2ULL << 30; // of each process
#endif

// Of the machine, what its GRUB needs: programs, libraries, and how it calls the system that it installs.
constexpr const char* shown[] = {"usr", "bin", "sbin", "lib", "lib32", "lib64", "libx32", "etc/alternatives",
    "etc/ld.so.cache", "etc/default/grub", "etc/default/grub.d"};

[[noreturn]] void Fail(const std::string& what)
{
    throw SystemFailure(ExitStatus::Failed, what + ": GRUB's installer cannot be enclosed", errno);
}

void MountOn(const std::string& folder, const char* type, unsigned long flags, const char* options = nullptr)
{
    if (mount(type, folder.c_str(), type, flags, options) != 0)
        Fail(folder);
}

void Bind(const std::string& source, const std::string& place)
{
    if (mount(source.c_str(), place.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0)
        Fail(place);
}

void MakeReadOnly(const std::string& folder, unsigned flags)
{
    mount_attr attributes = {};
    attributes.attr_set = MOUNT_ATTR_RDONLY | MOUNT_ATTR_NOSUID;
    if (mount_setattr(AT_FDCWD, folder.c_str(), flags, &attributes, sizeof attributes) != 0)
        Fail(folder);
}

void MakeFile(const std::string& path)
{
    if (!Descriptor::Open(path, O_WRONLY | O_CREAT | O_NOFOLLOW))
        Fail(path);
}

/** The machine's folder or file at the same place below `root`, for reading; a link stays one. */
void Show(const std::string& root, const std::string& name)
{
    const fs::path source = "/" + name;
    const std::string place = root + source.string();
    std::error_code error;
    const fs::file_status status = fs::symlink_status(source, error);
    if (!fs::exists(status))
        return;
    fs::create_directories(fs::path(place).parent_path());
    if (fs::is_symlink(status)) {
        fs::create_symlink(fs::read_symlink(source), place);
        return;
    }
    if (fs::is_directory(status))
        fs::create_directory(place);
    else
        MakeFile(place);
    Bind(source, place);
    MakeReadOnly(place, AT_RECURSIVE);
}

/** A root in memory with the machine's programs, and the restored system in its place. */
std::string MakeRoot(const std::vector<std::string>& writing)
{
    std::string root = Mounts::MakeFolder("machine");
    MountOn(root, "tmpfs", MS_NOSUID | MS_NODEV, "mode=0755");
    for (const char* name : shown)
        Show(root, name);
    for (const char* name : {"/dev", "/proc", "/sys", "/tmp"})
        fs::create_directory(root + name);
    for (const std::string& folder : writing) {
        fs::create_directories(root + folder);
        Bind(folder, root + folder);
    }
    MakeReadOnly(root, 0);
    return root;
}

/** The folder of that name in the root, wherever a link leads to within it. */
std::string FolderIn(const std::string& root, const std::string& name)
{
    std::string folder = Inside(root, name);
    if (folder.empty())
        throw Failure(ExitStatus::Failed, "the restored system has no folder /" + name);
    return folder;
}

/** Each node under its own name, as the kernel's, and where a link leads to it, under that of the link too. */
void MakeDevices(const std::string& folder, std::vector<std::string> nodes)
{
    MountOn(folder, "tmpfs", plain, "mode=0755");
    for (const char* name : {"/dev/null", "/dev/zero", "/dev/full", "/dev/urandom"})
        nodes.emplace_back(name);
    for (const std::string& node : nodes) {
        const fs::path real = fs::canonical(node);
        const std::string place = folder + "/" + real.filename().string();
        MakeFile(place);
        Bind(real, place);
        const std::string link = folder + "/" + fs::path(node).filename().string();
        if (link != place)
            fs::create_symlink(real.filename(), link);
    }
    // The nodes too: they can be written to, but not have their owner or mode changed, which are the machine's.
    MakeReadOnly(folder, AT_RECURSIVE);
}

/** The root becomes that of this process, and nothing leads back to the one before. */
void ChangeRoot(const std::string& root)
{
    if (chdir(root.c_str()) != 0 || syscall(SYS_pivot_root, ".", ".") != 0 || umount2(".", MNT_DETACH) != 0
        || chdir("/") != 0)
        Fail(root);
}

void DropRights()
{
    // One byte is what keeps the kernel from handing a crashed program's memory to the machine's collector.
    const rlimit noCore = {1, 1};
    const rlimit space = {memory, memory};
    // GRUB's installer writes into folders of any owner, and sets times and modes there. Flushing a disk's cache
    // (BLKFLSBUF) would need more than these; it goes on without.
    if (!KeepCapabilities({CAP_DAC_OVERRIDE, CAP_FOWNER, CAP_CHOWN}) || setrlimit(RLIMIT_CORE, &noCore) != 0
        || setrlimit(RLIMIT_AS, &space) != 0 || prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0)
        Fail("rights");
}

/** Where memory runs out it is this that the kernel ends, and nothing of the machine. */
void OfferToKernel()
{
    const Descriptor file = Descriptor::Open("/proc/self/oom_score_adj", O_WRONLY);
    if (!file || !WriteAll(file.Get(), "1000", 4))
        Fail("/proc/self/oom_score_adj");
}

/** What was opened outside leads there: by the machine's own null, its mode could be changed. */
void ReopenInput()
{
    const Descriptor null = Descriptor::Open("/dev/null", O_RDWR);
    if (dup2(null.Get(), STDIN_FILENO) < 0 || dup2(null.Get(), STDOUT_FILENO) < 0)
        Fail("/dev/null");
}

/** In the first process of the new name spaces, which becomes the program. */
void Settle(const Enclosure& enclosure, int parent)
{
    OfferToKernel();
    const std::string root = enclosure.root.empty() ? MakeRoot(enclosure.writing) : enclosure.root;
    MakeDevices(FolderIn(root, "dev"), enclosure.nodes);
    MountOn(FolderIn(root, "proc"), "proc", plain | MS_RDONLY);
    MountOn(FolderIn(root, "sys"), "sysfs", plain | MS_RDONLY);
    MountOn(FolderIn(root, "tmp"), "tmpfs", plain, "mode=1777,size=64m");
    ChangeRoot(root);
    ReopenInput();
    clearenv();
    setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1);
    setenv("LC_ALL", "C", 1);
    DropRights();
    // The parent's end is this one's end too, also when that has come already.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    pollfd life = {parent, POLLIN, 0};
    if (poll(&life, 1, 0) != 0)
        _exit(1);
    close_range(STDERR_FILENO + 1, ~0U, 0);
    if (!RefuseCalls())
        Fail("system calls");
}

/** Goes on in the first process of new name spaces; this one oversees it, and ends as it did. */
void Enter(const Enclosure& enclosure, const std::string& name)
{
    // Nothing is written into it: the first process sees by its end that this one is gone.
    auto [life, mine] = Descriptor::Pipe();
    auto [voice, mouth] = Descriptor::Pipe();
    if (unshare(CLONE_NEWNS | CLONE_NEWPID | CLONE_NEWNET | CLONE_NEWIPC | CLONE_NEWUTS) != 0)
        Fail("name spaces");
    const pid_t first = fork();
    if (first < 0)
        Fail("name spaces");
    if (first == 0) {
        mine.Close();
        dup2(mouth.Get(), STDERR_FILENO);
        Settle(enclosure, life.Get());
        return;
    }
    mouth.Close();
    int status = 0;
    const std::string beyond = Oversee(first, voice, Limits::Given(), status);
    if (!beyond.empty()) {
        dprintf(STDERR_FILENO, "\n%s %s; it was ended, with all that it had started\n", name.c_str(), beyond.c_str());
        _exit(beyondLimits);
    }
    if (WIFSIGNALED(status)) {
        std::signal(WTERMSIG(status), SIG_DFL);
        kill(getpid(), WTERMSIG(status));
    }
    _exit(WEXITSTATUS(status));
}
} // namespace

StageEnd RunEnclosed(const Enclosure& enclosure, const std::vector<std::string>& command)
{
    Pipeline pipeline;
    pipeline.Start(command, {}, {}, [&enclosure, &command] {
        try {
            Enter(enclosure, command.front());
        } catch (const std::exception& error) {
            dprintf(STDERR_FILENO, "%s\n", error.what());
            _exit(1);
        }
    });
    StageEnd end = pipeline.Finish().front();
    if (WIFEXITED(end.status) && WEXITSTATUS(end.status) == beyondLimits)
        throw Failure(ExitStatus::Failed, end.LastWords());
    return end;
}
