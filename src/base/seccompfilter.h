// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <cerrno>
#include <cstdint>
#include <vector>

#include <sched.h>
#include <seccomp.h>

/** What the kernel answers to system calls, from Load() on. Names that an architecture lacks are passed over. */
class SeccompFilter
{
public:
    /** All that set a process apart in name spaces of its own. */
    static constexpr uint64_t spaces
        = CLONE_NEWNS | CLONE_NEWUTS | CLONE_NEWIPC | CLONE_NEWUSER | CLONE_NEWPID | CLONE_NEWNET | CLONE_NEWCGROUP;

    /** @param otherwise for what nothing is said of */
    explicit SeccompFilter(uint32_t otherwise)
        : context(seccomp_init(otherwise))
    {
    }
    ~SeccompFilter()
    {
        seccomp_release(context);
    }
    SeccompFilter(const SeccompFilter&) = delete;
    SeccompFilter& operator=(const SeccompFilter&) = delete;

    template <size_t count> void Add(uint32_t action, const char* const (&names)[count])
    {
        for (const char* name : names) {
            const int number = seccomp_syscall_resolve_name(name);
            if (number != __NR_SCMP_ERROR)
                Add(action, number, {});
        }
    }

    void Add(uint32_t action, int number, const std::vector<scmp_arg_cmp>& arguments)
    {
        // One that this architecture hasn't got can't be called either.
        Note(
            seccomp_rule_add_array(context, action, number, static_cast<unsigned>(arguments.size()), arguments.data()));
    }

    /** The same for programs of another architecture that this kernel may run; before the first Add(). */
    void AddArchitecture(uint32_t architecture)
    {
        Note(seccomp_arch_add(context, architecture));
    }

    /** Whether it could be set; errno tells why not. The process has set no_new_privs before. */
    bool Load()
    {
        const int result = context != nullptr && isWhole ? seccomp_load(context) : -ENOSYS;
        errno = -result;
        return result == 0;
    }

private:
    void Note(int result)
    {
        isWhole = isWhole && (result == 0 || result == -EDOM);
    }

    scmp_filter_ctx context;
    bool isWhole = true;
};
