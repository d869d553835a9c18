// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "imagerecord.h"
#include "remark.h"

#include <optional>
#include <string>
#include <string_view>

/**
 * The machine's key, by which a set is known again as made by one who has it. With a key, the partition-table file and
 * the records of images carry a code each: HMAC-SHA-256 of the file's name and of all that stands before the code. The
 * name has the machine's serial number, the date, the partition and the kind of file in it. The table has the boot
 * sector, a record the hash of its image and that of the table of its run: so nothing can be exchanged alone.
 *
 * The file has a line "key = " with hexadecimal digits, and may have a line "require-authentic". Without a file nothing
 * is written or asked for; one that is no good is a Failure with `Refused`, never the same as none.
 */
class Authentication
{
public:
    static constexpr char file[] = "/etc/norvo-clone-restore/key";

    static std::optional<Authentication> Read(const std::string& path = file);

    /** A file with a new key; a Failure with `Refused` where there is one. */
    static void Make(const std::string& path = file);

    Authentication(const Authentication&) = delete;
    Authentication& operator=(const Authentication&) = delete;
    Authentication(Authentication&& other) noexcept;
    Authentication& operator=(Authentication&& other) = delete;
    ~Authentication(); ///< nothing of the key stays in memory, which processes that read images inherit

    /** Whether only authentic sets may be written back. */
    [[nodiscard]] bool IsRequired() const
    {
        return required;
    }

    /** The code for a file, in hexadecimal. @param digest the SHA-256 of what stands before it */
    [[nodiscard]] std::string Code(const std::string& path, const std::string& digest) const;

    // Why it is not authentic; empty where it is.
    [[nodiscard]] Remark FaultOf(const TableFile& table, const std::string& path) const;
    [[nodiscard]] Remark FaultOf(const ImageRecord& record, const std::string& path, const TableFile& table) const;

    /** Of a boot sector: it has to be the one that the table has. */
    [[nodiscard]] static Remark FaultOf(const std::string& sector, const std::string& path, const TableFile& table);

    /** Of a file that has to be there for the set to be authentic. */
    static Remark Lacks(const std::string& path);

private:
    Authentication() = default;
    [[nodiscard]] Remark FaultOf(const AuthenticCode& code, const std::string& path) const;
    void Parse(const std::string& text, const std::string& path);
    void Take(std::string_view line);

    std::string key; ///< hexadecimal digits as the file has them, which are the bytes of the key, too
    bool required = false;
};
