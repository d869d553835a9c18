// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <string>
#include <vector>

/** An image set in its folder STORE/SERIAL/DATE. */
struct ImageSet
{
    std::string serial;
    std::string date;
    std::string folder;
    std::string fault; ///< why the folder can't be read; the date may be unknown then

    /** What every name of its files begins with. */
    [[nodiscard]] std::string Prefix() const
    {
        return serial + "_" + date + "_";
    }
};

/**
 * All image sets of a store, by serial number and date; only those of `serial` and `date` where these are not empty.
 * A Failure where the store itself can't be read.
 */
std::vector<ImageSet> FindSets(const std::string& store, const std::string& serial, const std::string& date);

/** Whether every user of a machine that has the medium can read files of the set. */
bool IsOpenToAll(const ImageSet& set);
