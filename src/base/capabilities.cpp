// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "capabilities.h"

#include <algorithm>

#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

bool KeepCapabilities(std::initializer_list<unsigned> kept)
{
    for (unsigned number = 0; prctl(PR_CAPBSET_READ, number, 0, 0, 0) >= 0; ++number) {
        if (std::find(kept.begin(), kept.end(), number) == kept.end() && prctl(PR_CAPBSET_DROP, number, 0, 0, 0) != 0)
            return false;
    }
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3] = {};
    for (const unsigned number : kept) {
        data[CAP_TO_INDEX(number)].permitted |= CAP_TO_MASK(number);
        data[CAP_TO_INDEX(number)].effective |= CAP_TO_MASK(number);
    }
    return prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_CLEAR_ALL, 0, 0, 0) == 0 && syscall(SYS_capset, &header, data) == 0;
}
