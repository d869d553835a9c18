// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "syscallfilter.h"

#include "seccompfilter.h"

#include <fcntl.h>
#include <linux/blkzoned.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace {
// What both kinds of work need.
constexpr const char* common[] = {
    // bytes in and out of what is open
    "read",
    "readv",
    "pread64",
    "preadv",
    "write",
    "writev",
    "pwrite64",
    "pwritev",
    "lseek",
    "_llseek",
    "close",
    "fsync",
    "fdatasync",
    "sync_file_range",
    "sync_file_range2",
    "fadvise64",
    "fadvise64_64",
    "arm_fadvise64_64",
    "fstat",
    "fstat64",
    "fcntl",
    "fcntl64",
    "dup",
    "dup2",
    "dup3",
    "pipe",
    "pipe2",
    "poll",
    "ppoll",
    "ppoll_time64",
    "select",
    "_newselect",
    "pselect6",
    "pselect6_time64",
    // memory
    "brk",
    "mmap",
    "mmap2",
    "munmap",
    "mremap",
    "mprotect",
    "madvise",
    // threads of the same process, and their locks
    "futex",
    "futex_time64",
    "set_robust_list",
    "get_robust_list",
    "set_tid_address",
    "rseq",
    "arch_prctl",
    "set_thread_area",
    "set_tls",
    "gettid",
    "getpid",
    "getppid",
    "sched_yield",
    "sched_getaffinity",
    "exit",
    "exit_group",
    "wait4",
    "waitid",
    "waitpid",
    "setpgid",
    "fork",
    "vfork",
    "getpgrp",
    "getpgid",
    // signals to itself
    "rt_sigaction",
    "rt_sigprocmask",
    "rt_sigreturn",
    "rt_sigsuspend",
    "rt_sigpending",
    "rt_sigtimedwait",
    "sigreturn",
    "sigaltstack",
    "restart_syscall",
    // time, identity, limits: what they are
    "clock_gettime",
    "clock_gettime64",
    "clock_getres",
    "gettimeofday",
    "time",
    "nanosleep",
    "clock_nanosleep",
    "clock_nanosleep_time64",
    "getuid",
    "geteuid",
    "getgid",
    "getegid",
    "getuid32",
    "geteuid32",
    "getgid32",
    "getegid32",
    "getrlimit",
    "ugetrlimit",
    "getrusage",
    "sysinfo",
    "uname",
    "getrandom",
    "times",
};
// To be loaded, and to look at files; in a system that is read-only.
constexpr const char* ofPrograms[] = {
    "execve",
    "open",
    "openat",
    "access",
    "faccessat",
    "faccessat2",
    "stat",
    "stat64",
    "lstat",
    "lstat64",
    "fstatat64",
    "newfstatat",
    "statx",
    "readlink",
    "readlinkat",
    "getcwd",
    "getdents",
    "getdents64",
    "statfs",
    "statfs64",
    "fstatfs",
    "fstatfs64",
    "umask",
    "setitimer",
    "alarm",
    "mlock",
    "mlockall",
    "munlockall",
};
// Questions to a device and a terminal.
constexpr unsigned long questions[] = {BLKGETSIZE, BLKGETSIZE64, BLKSSZGET, BLKPBSZGET, BLKBSZGET, BLKROGET, BLKIOMIN,
    BLKIOOPT, BLKALIGNOFF, BLKDISCARDZEROES, BLKGETZONESZ, BLKGETNRZONES, TCGETS, TIOCGWINSZ, FIONREAD};
} // namespace

bool FilterSystemCalls(Confinement::Work work)
{
    SeccompFilter filter(SCMP_ACT_ERRNO(EPERM));
    filter.Add(SCMP_ACT_ALLOW, common);
    if (work == Confinement::Work::Program)
        filter.Add(SCMP_ACT_ALLOW, ofPrograms);
    for (const unsigned long question : questions)
        filter.Add(SCMP_ACT_ALLOW, SCMP_SYS(ioctl), {SCMP_A1(SCMP_CMP_EQ, question)});
    filter.Add(SCMP_ACT_ALLOW, SCMP_SYS(clone), {SCMP_A0(SCMP_CMP_MASKED_EQ, SeccompFilter::spaces, 0)});
    filter.Add(SCMP_ACT_ERRNO(ENOSYS), SCMP_SYS(clone3), {}); // its flags can't be seen; clone is taken then
    const auto own = static_cast<scmp_datum_t>(getpid());
    for (const int signalling : {SCMP_SYS(kill), SCMP_SYS(tgkill)}) // between its own threads
        filter.Add(SCMP_ACT_ALLOW, signalling, {SCMP_A0(SCMP_CMP_EQ, own)});
    for (const unsigned long option : {PR_SET_NAME, PR_SET_PDEATHSIG, PR_GET_DUMPABLE})
        filter.Add(SCMP_ACT_ALLOW, SCMP_SYS(prctl), {SCMP_A0(SCMP_CMP_EQ, option)});
    // A program may ask for its limits, as its libraries do, and set none.
    filter.Add(SCMP_ACT_ALLOW, SCMP_SYS(prlimit64), {SCMP_A2(SCMP_CMP_EQ, 0)});
    return filter.Load();
}
