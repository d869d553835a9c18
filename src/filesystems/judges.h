// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "device.h"

#include <string>

// Each tells why all blocks of such a file system have to be saved: "unclean"; empty where the used ones are enough.
// Judged by the file system's own means.

std::string JudgeExt(const Device& device);
std::string JudgeXfs(const Device& device);
std::string JudgeBtrfs(const Device& device);
std::string JudgeF2fs(const Device& device);
std::string JudgeNtfs(const Device& device);
std::string JudgeFat(const Device& device);
std::string JudgeExfat(const Device& device);
std::string JudgeHfsPlus(const Device& device);
