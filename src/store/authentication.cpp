// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "authentication.h"

#include "descriptor.h"
#include "failure.h"
#include "sha256.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <linux/fs.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {
constexpr size_t mostBytes = 4096; // of the file
constexpr size_t keyBytes = 32;
constexpr size_t leastDigits = 2 * keyBytes;
constexpr size_t mostDigits = 256;
constexpr char digits[] = "0123456789abcdef";
constexpr char purpose[] = "Norvo Clone-Restore, file of an image set, 1";

constexpr char explanation[]
    = "# The key by which this machine knows image sets again that were made with it. It is secret: who has\n"
      "# it can make sets that are authentic. Copy this file to the machines that are to know them too,\n"
      "# owned by root, mode 0600. With the line\n"
      "#   require-authentic\n"
      "# no other set is written back.\n\n";

/** Of no use to who reads the memory later. */
struct Secret
{
    std::string text;

    ~Secret()
    {
        OPENSSL_cleanse(text.data(), text.size());
    }
};

/** So that no two lists of fields read the same. */
std::string Field(const std::string& text)
{
    return std::to_string(text.size()) + ":" + text;
}

Failure Unusable(Remark reason)
{
    return {ExitStatus::Refused, std::move(reason)};
}

[[noreturn]] void ThrowCannot(const std::string& path, int error)
{
    throw Failure(ExitStatus::Failed, Remark("%1 cannot be written: %2", {path, std::string(strerror(error))}));
}

/** That nobody but root can have read or written it. */
void CheckAccess(const Descriptor& file, const std::string& path)
{
    struct stat status = {};
    if (fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode))
        throw Unusable(Remark("%1 is not a file. Put the key there again, or remove it to do without.", {path}));
    if (status.st_uid != 0)
        throw Unusable(
            Remark("%1 does not belong to root: others know the key. Make a new one, or run: chown root %1", {path}));
    if ((status.st_mode & 077) != 0)
        throw Unusable(
            Remark("%1 is open to other users. Make a new key if it was for long, or run: chmod 600 %1", {path}));
}
} // namespace

Authentication::Authentication(Authentication&& other) noexcept
    : key(other.key) // a copy: what is moved from a short text stays there
    , required(other.required)
{
}

Authentication::~Authentication()
{
    OPENSSL_cleanse(key.data(), key.size());
}

std::optional<Authentication> Authentication::Read(const std::string& path)
{
    const Descriptor file = Descriptor::Open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
    if (!file && errno == ENOENT)
        return {};
    if (!file && errno == ELOOP)
        throw Unusable(
            Remark("%1 is a symbolic link. Put the key itself there, or remove the link to do without.", {path}));
    if (!file)
        throw Unusable(
            Remark("%1 cannot be read: %2. Only root can; run this as root.", {path, std::string(strerror(errno))}));
    CheckAccess(file, path);
    Authentication authentication;
    Secret text{ReadFile(file, path, mostBytes)};
    authentication.Parse(text.text, path);
    return authentication;
}

void Authentication::Parse(const std::string& text, const std::string& path)
{
    size_t number = 0;
    for (size_t begin = 0; begin < text.size();) {
        const size_t end = std::min(text.find('\n', begin), text.size());
        ++number;
        try {
            Take(std::string_view(text).substr(begin, end - begin));
        } catch (const Remark& reason) {
            throw Unusable(Remark("%1:%2: %3. Mend this line, or copy the file again from where the key was made.",
                {path, std::to_string(number), reason}));
        }
        begin = end + 1;
    }
    if (key.empty())
        throw Unusable(Remark("%1 has no line \"key = \". Copy it again, or remove it and make a new key.", {path}));
}

/** What it throws is a Remark. The line itself is in none: it may be the key. */
void Authentication::Take(std::string_view line)
{
    constexpr std::string_view sign = "key = ";
    if (line.empty() || line.front() == '#')
        return;
    if (line == "require-authentic") {
        required = true;
        return;
    }
    if (line.rfind(sign, 0) != 0)
        throw Remark("neither \"key = \" nor \"require-authentic\"");
    if (!key.empty())
        throw Remark("the key is there twice");
    if (line.find_first_not_of(digits, sign.size()) != std::string::npos)
        throw Remark("the key has other characters than the digits 0 to 9 and a to f");
    if (line.size() - sign.size() < leastDigits || line.size() - sign.size() > mostDigits)
        throw Remark("the key has fewer than 64 digits or more than 256");
    key = line.substr(sign.size());
}

void Authentication::Make(const std::string& path)
{
    unsigned char bytes[keyBytes];
    if (getrandom(bytes, sizeof bytes, 0) != static_cast<ssize_t>(sizeof bytes))
        throw SystemFailure(ExitStatus::Failed, "the kernel gives no random bytes", errno);
    const Secret file{explanation + ("key = " + Hexadecimal(bytes, sizeof bytes)) + "\n"};
    OPENSSL_cleanse(bytes, sizeof bytes);
    const fs::path folder = fs::path(path).parent_path();
    std::error_code error;
    fs::create_directories(folder, error);
    const std::string beside = path + ".new";
    unlink(beside.c_str());
    const Descriptor out = Descriptor::Open(beside, O_WRONLY | O_CREAT | O_EXCL);
    if (!out || !WriteAll(out.Get(), file.text.data(), file.text.size()) || fsync(out.Get()) != 0)
        ThrowCannot(path, errno);
    if (renameat2(AT_FDCWD, beside.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) != 0) {
        const int reason = errno;
        unlink(beside.c_str());
        if (reason != EEXIST)
            ThrowCannot(path, reason);
        throw Unusable(
            Remark("%1 is there already. Sets made with it are not authentic by another key: keep a copy of it, "
                   "and remove it there to make a new one.",
                {path}));
    }
    fsync(Descriptor::Open(folder, O_RDONLY | O_DIRECTORY).Get());
}

std::string Authentication::Code(const std::string& path, const std::string& digest) const
{
    const std::string message = Field(purpose) + Field(fs::path(path).filename()) + Field(digest);
    unsigned char code[EVP_MAX_MD_SIZE];
    size_t size = 0;
    if (EVP_Q_mac(nullptr, "HMAC", nullptr, "SHA256", nullptr, key.data(), key.size(),
            reinterpret_cast<const unsigned char*>(message.data()), message.size(), code, sizeof code, &size)
        == nullptr)
        throw Failure(ExitStatus::Failed, "no code can be computed: libcrypto offers no HMAC");
    return Hexadecimal(code, size);
}

Remark Authentication::FaultOf(const AuthenticCode& code, const std::string& path) const
{
    if (code.text.empty())
        return Remark("%1 was made without a key", {path});
    // The name alone could be that of a machine A_B and a date, or of A and one that begins with B.
    if (fs::path(path).parent_path().filename().string().find('_') != std::string::npos)
        return Remark("%1 is in a folder that is no date", {path});
    const std::string expected = Code(path, code.digest);
    if (code.text.size() == expected.size() && CRYPTO_memcmp(code.text.data(), expected.data(), expected.size()) == 0)
        return {};
    return Remark("%1 was made with another key, is of another set, or was changed", {path});
}

Remark Authentication::FaultOf(const TableFile& table, const std::string& path) const
{
    return FaultOf(table.code, path);
}

Remark Authentication::FaultOf(const ImageRecord& record, const std::string& path, const TableFile& table) const
{
    Remark fault = FaultOf(record.code, path);
    // An authentic image and an authentic table may still be of two runs, between which somebody has exchanged one.
    if (fault.IsEmpty() && record.table != table.seal)
        return Remark("%1 is of another run than the partition table of its set", {path});
    return fault;
}

Remark Authentication::FaultOf(const std::string& sector, const std::string& path, const TableFile& table)
{
    constexpr size_t size = 512;
    const RawArea first
        = table.raw.empty() ? RawArea() : RawArea{table.raw.front().offset, table.raw.front().bytes.substr(0, size)};
    if (first.offset == 0 && first.bytes.size() == size && first.bytes == sector)
        return {};
    return Remark("%1 is not the boot sector that the set's partition table has", {path});
}

Remark Authentication::Lacks(const std::string& path)
{
    return Remark("%1 is missing", {path});
}
