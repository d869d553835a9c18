// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

// comparemap KIND FILE DOMAIN: holds the used areas that partclone's option -D wrote to DOMAIN against the account of
// the file system in FILE, by the name that libblkid has for its KIND. Exit status 0: each used block is in the map; 1:
// one is not; 2: there is no account, and why.

#include "savingplan.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <vector>

namespace {
struct Area
{
    uint64_t begin, end; ///< in bytes
};

std::vector<Area> ReadDomain(const char* path)
{
    std::vector<Area> areas;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        std::istringstream fields(line);
        uint64_t begin = 0, size = 0;
        std::string state;
        if (fields >> std::hex >> begin >> size >> state && state == "+")
            areas.push_back({begin, begin + size});
    }
    return areas;
}

/** Areas are in order; neighbours count as one. */
bool Covers(const std::vector<Area>& areas, uint64_t begin, uint64_t end)
{
    auto area = std::upper_bound(areas.begin(), areas.end(), begin, [](uint64_t place, const Area& other) {
        return place < other.end;
    });
    for (; area != areas.end() && area->begin <= begin && begin < end; ++area)
        begin = area->end;
    return begin >= end;
}

uint64_t Sum(const std::vector<Area>& areas)
{
    uint64_t sum = 0;
    for (const Area& area : areas)
        sum += area.end - area.begin;
    return sum;
}
} // namespace

int main(int argc, char* argv[])
{
    if (argc != 4) {
        fprintf(stderr, "usage: comparemap KIND FILE DOMAIN\n");
        return 2;
    }
    const auto reader = PlanSaving(Device::OfFile(argv[2]), argv[1]).account;
    if (reader == nullptr) {
        printf("no account of %s\n", argv[1]);
        return 2;
    }
    try {
        const SpaceAccount account = reader(VolumeReader(argv[2]));
        const std::vector<Area> areas = ReadDomain(argv[3]);
        uint64_t missing = 0;
        for (uint64_t block = 0; block < account.Blocks(); ++block) {
            const uint64_t begin = block * account.BlockBytes();
            if (account.IsUsed(block) && !Covers(areas, begin, begin + account.BlockBytes()) && missing++ < 5)
                printf("missing: byte %llu\n", static_cast<unsigned long long>(begin));
        }
        printf("used: %llu, mapped: %llu, missing: %llu bytes\n",
            static_cast<unsigned long long>(account.UsedBlocks() * account.BlockBytes()),
            static_cast<unsigned long long>(Sum(areas)),
            static_cast<unsigned long long>(missing * account.BlockBytes()));
        return missing == 0 ? 0 : 1;
    } catch (const NoAccount& reason) {
        printf("no account: %s\n", reason.what());
        return 2;
    }
}
