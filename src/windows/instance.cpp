// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "instance.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>

Instance::Instance(const char* path)
    : file(Descriptor::Open(path, O_RDWR | O_CREAT | O_NOFOLLOW))
{
    isSecond = file && flock(file.Get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}
