// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "authentication.h"
#include "imageset.h"

#include <functional>
#include <string>
#include <vector>

/** What a check came to, from best to worst. */
enum class Verdict {
    Good,       ///< it is what its record says
    Unrecorded, ///< it is whole as far as can be seen; its maker left no record to compare it with
    Missing,    ///< it is not there, nothing shows what it is, or that of an earlier run is there
    Damaged,
};

/** As "good", for tables and scripts. */
std::string Name(Verdict verdict);

/** A part of an image set: the boot sector, the partition table, or the image of a partition. */
struct CheckedPart
{
    std::string name; ///< as "boot sector" or "hdc1"
    Verdict verdict = Verdict::Good;
    std::string remark; ///< why, or what else is worth knowing; may be empty
    Remark unproven;    ///< why it is not authentic; empty where it is, and where nobody asked
};

/**
 * Checks that all of a set is there and whole. Images are compared with their records, or read in full where they have
 * none.
 * @param deep reads every image in full: its structure has to hold, and it has to fit its partition
 * @param begin told the name of each part before it is checked
 * @param key by which the set should be authentic; null where nobody asks
 * Throws Interrupted.
 */
std::vector<CheckedPart> CheckSet(const ImageSet& set, bool deep,
    const std::function<void(const std::string& part)>& begin, const Authentication* key = nullptr);
