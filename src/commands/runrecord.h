// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "device.h"
#include "imagerecord.h"

/** What this command does, in the run record of its image set. A record that can't be written never fails a command. */
namespace RunRecord {
/** What the command is going to work on, so that its window can be told when it fails before it begins. */
void Expect(const std::string& part);

/** What is being done from now on, in one word for the window: "check", "write" or "prove". */
void Enter(const std::string& phase);

/**
 * Begins the entry, and adds its first line to the record of the set that has this partition-table file. Does nothing
 * where the set's folder does not exist.
 * @param part what the command works on, as "hdc1"
 * @param tools the programs whose versions are to be recorded, by their command names
 */
void Begin(
    const std::string& tablePath, const Device& disk, const std::string& part, const std::vector<std::string>& tools);

/** What an image's record says of it. */
void Note(const ImageRecord& record);

/** The seal of the partition table that was saved. */
void NoteTable(const std::string& seal);

/**
 * Completes the entry, adds it to the record, where one was begun, and tells the window; once. An empty reason means
 * that all went well.
 */
void End(const std::string& reason);
} // namespace RunRecord
