// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

// norvoClonePT DISK FILE: saves the partition table of /dev/DISK, and what else of the disk stands outside its
// partitions, in FILE. An older FILE stays until the new one is on the medium.

#include "authentication.h"
#include "command.h"
#include "failure.h"
#include "freshview.h"
#include "lock.h"
#include "medium.h"
#include "runrecord.h"
#include "savedtable.h"
#include "storefile.h"
#include "use.h"

#include <filesystem>

int main(int argc, char** argv)
{
    return RunCommandMain(argc, argv, "DISK FILE", [](const std::vector<std::string>& arguments) {
        const std::string& path = arguments[1];
        const std::filesystem::path folder = std::filesystem::path(path).parent_path();
        RunRecord::Expect(arguments[0]);
        NeedRevDisk(folder);
        NeedFolder(folder);
        const auto key = Authentication::Read();
        Device disk = Device::FindDisk(arguments[0]);
        const DiskLock lock(disk);
        RunRecord::Begin(path, disk, disk.name, {});
        Introduce(disk);
        TableFile table = DescribeDisk(disk);
        for (const std::string& warning : table.warnings)
            Warn(disk.path + ": " + warning);
        StoreFile file(path + ".new");
        const std::string text = table.Text(key ? &*key : nullptr, path);
        file.Write(text.data(), text.size());
        file.Prove();
        file.PutInPlace(path);
        const std::string bootSector = std::filesystem::path(path).replace_extension(".mbr");
        NeedOnMedium(Medium::IsFile(bootSector) ? std::vector{path, bootSector} : std::vector{path});
        RunRecord::NoteTable(table.seal);
    });
}
