// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

// The only program of the system on the disk that is restored and started: it says that it is there.

#include <stdio.h>
#include <sys/reboot.h>
#include <termios.h>

int main(void)
{
    puts("The restored system is up.");
    fflush(stdout);
    tcdrain(1);
    return reboot(RB_POWER_OFF);
}
