// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "disktable.h"

#include "failure.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <sstream>

#include <libfdisk/libfdisk.h>

namespace {
/** The codes that operators know for the types of a GPT; "da" (no file system) stands for all others. */
const std::map<std::string, unsigned> gptCodes = {
    {"0657FD6D-A4AB-43C4-84E5-0933C84B4F4F", 0x82}, // Linux swap
    {"0FC63DAF-8483-4772-8E79-3D69D8477DE4", 0x83}, // Linux data
    {"4F68BCE3-E8CD-4DB1-96E7-FBCAF984B709", 0x83}, // Linux root, x86-64
    {"44479540-F297-41B2-9AF7-D131D5F0458A", 0x83}, // Linux root, x86
    {"B921B045-1DF0-41C3-AF44-4C6F280D3FAE", 0x83}, // Linux root, 64-bit ARM
    {"8484680C-9521-48C6-9C11-B0720656F69E", 0x83}, // Linux /usr, x86-64
    {"933AC7E1-2EB4-4F13-B844-0E14E2AEF915", 0x83}, // Linux /home
    {"3B8F8425-20E0-4F3B-907F-1A25A76F98E8", 0x83}, // Linux /srv
    {"4D21B016-B534-45C2-A9FB-5C16E091FD2D", 0x83}, // Linux /var
    {"BC13C2FF-59E6-4262-A352-B275FD6F7172", 0xea}, // Linux extended boot
    {"E6D6D379-F507-44C2-A23C-238F2A3DF928", 0x8e}, // Linux LVM
    {"A19D880F-05FC-4D3B-A006-743F0F84911E", 0xfd}, // Linux RAID
    {"CA7D7CCB-63ED-4C53-861C-1742536059CC", 0xe8}, // Linux LUKS
    {"C12A7328-F81F-11D2-BA4B-00A0C93EC93B", 0xef}, // EFI system
    {"9E1A2D38-C612-4316-AA26-8B49521E5A8B", 0x41}, // PowerPC PReP boot
    {"EBD0A0A2-B9E5-4433-87C0-68B6B72699C7", 0x07}, // Microsoft basic data
    {"DE94BBA4-06D1-4D40-A16A-BFD50179D6AC", 0x27}, // Windows recovery
    {"5808C8AA-7E8F-42E0-85D2-E1E90434CFB3", 0x42}, // Windows dynamic disk, metadata
    {"AF9B60A0-1431-4F62-BC68-3311714A69AD", 0x42}, // Windows dynamic disk, data
    {"48465300-0000-11AA-AA11-00306543ECAC", 0xaf}, // Apple HFS+
    {"7C3457EF-0000-11AA-AA11-00306543ECAC", 0xaf}, // Apple APFS
    {"516E7CB6-6ECF-11D6-8FF8-00022D09712B", 0xa5}, // FreeBSD UFS
    {"6A898CC3-1DD2-11B2-99A6-080020736631", 0xbf}, // Solaris, ZFS
};

struct Release
{
    void operator()(fdisk_context* context) const
    {
        fdisk_unref_context(context);
    }
    void operator()(fdisk_script* script) const
    {
        fdisk_unref_script(script);
    }
    void operator()(fdisk_table* table) const
    {
        fdisk_unref_table(table);
    }
    void operator()(fdisk_iter* iterator) const
    {
        fdisk_free_iter(iterator);
    }
};
template <typename T> using Owned = std::unique_ptr<T, Release>;

/** libfdisk's questions are answered with no, its complaints kept. */
int Answer(fdisk_context* /*context*/, fdisk_ask* ask, void* data)
{
    switch (fdisk_ask_get_type(ask)) {
    case FDISK_ASKTYPE_WARN:
    case FDISK_ASKTYPE_WARNX: {
        const char* text = fdisk_ask_print_get_mesg(ask);
        static_cast<std::vector<std::string>*>(data)->emplace_back(text == nullptr ? "" : text);
        return 0;
    }
    case FDISK_ASKTYPE_YESNO:
        return fdisk_ask_yesno_set_result(ask, 0);
    case FDISK_ASKTYPE_INFO:
        return 0;
    default:
        return -EINVAL;
    }
}

/** An open disk. */
class Context
{
public:
    Context(const TablePlace& place, bool readOnly)
        : context(fdisk_new_context())
        , path(place.path)
    {
        fdisk_set_ask(context.get(), Answer, &complaints);
        fdisk_save_user_sector_size(context.get(), place.sectorBytes, place.sectorBytes);
        int result = fdisk_assign_device(context.get(), path.c_str(), readOnly ? 1 : 0);
        // It looks for other signatures too, and gives up where a sector that might have one can't be read.
        if (result == -EIO && readOnly && fdisk_enable_listonly(context.get(), 1) == 0)
            result = fdisk_assign_device(context.get(), path.c_str(), 1);
        Check(result, path + " cannot be looked at");
    }

    fdisk_context* Get() const
    {
        return context.get();
    }

    /** A Failure when `result` is an error. */
    void Check(int result, const std::string& what) const
    {
        if (result != 0)
            throw Failure(ExitStatus::Failed,
                what + ": " + (complaints.empty() ? strerror(std::abs(result)) : complaints.back()));
    }

    std::vector<std::string> complaints;

private:
    Owned<fdisk_context> context;
    std::string path;
};

TableLine LineOf(fdisk_partition* partition, bool isGpt)
{
    TableLine line;
    line.number = fdisk_partition_get_partno(partition) + 1;
    line.start = fdisk_partition_get_start(partition);
    line.size = fdisk_partition_get_size(partition);
    fdisk_parttype* type = fdisk_partition_get_type(partition);
    if (isGpt) {
        const char* guid = fdisk_parttype_get_string(type);
        const auto code = gptCodes.find(guid == nullptr ? "" : guid);
        const char* attributes = fdisk_partition_get_attrs(partition);
        line.type = code == gptCodes.end() ? 0xda : code->second;
        line.bootable = attributes != nullptr && strstr(attributes, "LegacyBIOSBootable") != nullptr;
    } else {
        line.type = fdisk_parttype_get_code(type);
        line.bootable = fdisk_partition_is_bootable(partition) == 1;
    }
    return line;
}

/** The four slots of a DOS table come first, empty or not; a GPT has no empty slots. */
std::vector<TableLine> ReadLines(fdisk_context* context, bool isGpt)
{
    std::vector<TableLine> lines;
    fdisk_table* found = nullptr;
    if (fdisk_get_partitions(context, &found) != 0)
        return lines;
    const Owned<fdisk_table> table(found);
    const Owned<fdisk_iter> iterator(fdisk_new_iter(FDISK_ITER_FORWARD));
    for (fdisk_partition* partition = nullptr; fdisk_table_next_partition(found, iterator.get(), &partition) == 0;) {
        if (fdisk_partition_has_start(partition) != 0 && fdisk_partition_has_size(partition) != 0)
            lines.push_back(LineOf(partition, isGpt));
    }
    for (unsigned slot = 1; slot <= 4 && !isGpt; ++slot) {
        if (std::none_of(lines.begin(), lines.end(), [slot](const TableLine& line) {
                return line.number == slot;
            }))
            lines.push_back({slot, 0, 0, 0, false});
    }
    std::sort(lines.begin(), lines.end(), [](const auto& a, const auto& b) {
        return a.number < b.number;
    });
    return lines;
}

std::string Describe(const Context& context)
{
    const Owned<fdisk_script> script(fdisk_new_script(context.Get()));
    context.Check(fdisk_script_read_context(script.get(), nullptr), "the table cannot be described");
    char* text = nullptr;
    size_t size = 0;
    FILE* stream = open_memstream(&text, &size);
    const int result = fdisk_script_write_file(script.get(), stream);
    fclose(stream);
    std::string native(text, size);
    free(text); // NOLINT: from open_memstream()
    context.Check(result, "the table cannot be described");
    return native;
}

/** A disk of another size has another last sector; libfdisk finds it. */
std::string WithoutLastSector(const std::string& native)
{
    std::istringstream lines(native);
    std::string result;
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("last-lba:", 0) != 0)
            result += line + "\n";
    }
    return result;
}
} // namespace

std::string ComparableNative(const std::string& native)
{
    std::istringstream lines(native);
    std::string result;
    for (std::string line; std::getline(lines, line);) {
        const size_t separator = line.find(" : ");
        if (line.rfind('/', 0) == 0 && separator != std::string::npos) {
            const size_t digits = line.find_last_not_of("0123456789", separator - 1) + 1;
            line.erase(std::remove(line.begin(), line.end(), ' '), line.end());
            result += line.substr(digits) + "\n";
        } else if (line.rfind("label", 0) == 0 || line.rfind("first-lba:", 0) == 0
            || line.rfind("table-length:", 0) == 0) {
            result += line + "\n";
        }
    }
    return result;
}

std::string DiskTable::Comparable() const
{
    return ComparableNative(native);
}

DiskTable ReadDiskTable(const TablePlace& place)
{
    Context context(place, true);
    DiskTable table;
    const fdisk_label* label = fdisk_has_label(context.Get()) != 0 ? fdisk_get_label(context.Get(), nullptr) : nullptr;
    if (label != nullptr) {
        table.kind = fdisk_label_get_name(label);
        table.lines = ReadLines(context.Get(), table.kind == "gpt");
        table.native = Describe(context);
    }
    table.complaints = context.complaints;
    return table;
}

void ApplyNative(const TablePlace& place, const std::string& native)
{
    const Context context(place, false);
    const Owned<fdisk_script> script(fdisk_new_script(context.Get()));
    std::string text = WithoutLastSector(native);
    FILE* stream = fmemopen(text.data(), text.size(), "r");
    const int result = stream == nullptr ? -EINVAL : fdisk_script_read_file(script.get(), stream);
    if (stream != nullptr)
        fclose(stream);
    context.Check(result, "the saved table cannot be understood");
    context.Check(fdisk_apply_script(context.Get(), script.get()), "the saved table does not fit");
    context.Check(fdisk_write_disklabel(context.Get()), "the table cannot be written");
}

void MoveSecondCopy(const TablePlace& place)
{
    const Context context(place, false);
    context.Check(fdisk_write_disklabel(context.Get()), "the second copy of the GPT cannot be written");
}
