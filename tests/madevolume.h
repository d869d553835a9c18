// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "accounts.h"
#include "contents.h"
#include "diskimages.h"
#include "imagereader.h"
#include "imagewriter.h"

/** What a call says of why there is no account; nothing where there is one. */
template <class Call> QString Doubt(Call call)
{
    try {
        call();
    } catch (const NoAccount& none) {
        return none.what();
    }
    return {};
}
/** A file system in a file, as its own tool makes it, and its image. */
class MadeVolume
{
public:
    std::string Make(const std::vector<std::string>& command, uint64_t bytes)
    {
        std::vector<std::string> whole = command;
        whole.push_back(NewFile(folder, "source", std::string(bytes, 'x')));
        Run(whole);
        return whole.back();
    }

    ImageFiles Files() const
    {
        return {folder.path().toStdString(), "hdc1", "s_1_hdc1.bz2"};
    }

    /** Into one volume, and its record. */
    ImageRecord Save(const Device& device)
    {
        ImageRecord record;
        record.content = ProbeContents(device).type;
        StoreFile file(Files().NewImage());
        WriteImage(device, PlanSaving(device, record.content), file, record);
        record.sha256 = file.Prove();
        record.bytes = file.Size();
        file.PutInPlace(Files().Volume(0));
        return record;
    }

    QTemporaryDir folder{Scratch()};
};
