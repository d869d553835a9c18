// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "enclosedcalls.h"

#include "seccompfilter.h"

#include <sys/prctl.h>
#include <sys/resource.h>

namespace {
constexpr const char* refused[] = {
    // other name spaces and roots; a user name space would give all capabilities back
    "unshare",
    "setns",
    "mount",
    "umount",
    "umount2",
    "move_mount",
    "open_tree",
    "fsopen",
    "fspick",
    "fsconfig",
    "fsmount",
    "mount_setattr",
    "pivot_root",
    "chroot",
    "open_by_handle_at",
    // what all name spaces share: keys, and what the kernel loads for a kind of socket
    "add_key",
    "request_key",
    "keyctl",
    "socket",
    // memory that counts for no process
    "shmget",
    "memfd_create",
    "memfd_secret",
    // code and rings in the kernel, other processes' memory
    "bpf",
    "perf_event_open",
    "io_uring_setup",
    "userfaultfd",
    "ptrace",
    "process_vm_readv",
    "process_vm_writev",
    "pidfd_getfd",
    // the machine itself
    "init_module",
    "finit_module",
    "delete_module",
    "kexec_load",
    "kexec_file_load",
    "reboot",
    "swapon",
    "swapoff",
    "syslog",
    "acct",
    "quotactl",
    "quotactl_fd",
    "settimeofday",
    "clock_settime",
    "clock_adjtime",
    "adjtimex",
    "iopl",
    "ioperm",
};

// Commands to a drive that are more than reading and writing it, by the bits that they have in common.
constexpr struct
{
    scmp_datum_t mask, value;
} toDrives[] = {
    {0xff00, 0x2200}, // SG_IO and its like: raw SCSI commands
    {0xff00, 0x5300}, // SCSI_IOCTL_*, and the locks and trays of CD drives
    {0xfff0, 0x0310}, // HDIO_DRIVE_*: raw ATA commands
    {0xfff0, 0x0320}, // HDIO_SET_*
    {0xff00, 0x4e00}, // NVME_IOCTL_*
    {0xff00, 0x7000}, // reservations, and "Opal" passwords
    {0xffff, 0x125f}, // BLKRRPART
    {0xffff, 0x1269}, // BLKPG
};
} // namespace

bool RefuseCalls()
{
    const uint32_t refusal = SCMP_ACT_ERRNO(EPERM);
    SeccompFilter filter(SCMP_ACT_ALLOW);
    if (seccomp_arch_native() == SCMP_ARCH_X86_64)
        filter.AddArchitecture(SCMP_ARCH_X86);
    filter.Add(refusal, refused);
    for (const auto& [mask, value] : toDrives)
        filter.Add(refusal, SCMP_SYS(ioctl), {SCMP_A1(SCMP_CMP_MASKED_EQ, mask, value)});
    for (uint64_t bit = 1; bit <= SeccompFilter::spaces; bit <<= 1) {
        if ((SeccompFilter::spaces & bit) != 0)
            filter.Add(refusal, SCMP_SYS(clone), {SCMP_A0(SCMP_CMP_MASKED_EQ, bit, bit)});
    }
    filter.Add(SCMP_ACT_ERRNO(ENOSYS), SCMP_SYS(clone3), {}); // its flags can't be seen; clone is taken then
    // The end of who oversees it stays its end too, and a crash of it nothing for the machine's collector.
    filter.Add(refusal, SCMP_SYS(prctl), {SCMP_A0(SCMP_CMP_MASKED_EQ, 0xffffffff, PR_SET_PDEATHSIG)});
    filter.Add(refusal, SCMP_SYS(setrlimit), {SCMP_A0(SCMP_CMP_MASKED_EQ, 0xffffffff, RLIMIT_CORE)});
    filter.Add(
        refusal, SCMP_SYS(prlimit64), {SCMP_A1(SCMP_CMP_MASKED_EQ, 0xffffffff, RLIMIT_CORE), SCMP_A2(SCMP_CMP_NE, 0)});
    return filter.Load();
}
