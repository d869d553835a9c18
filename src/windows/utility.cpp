// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "utility.h"

#include "imagestore.h"
#include "medium.h"

#include <QScreen>
#include <QWidget>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <iterator>
#include <linux/magic.h>
#include <memory>
#include <mntent.h>
#include <poll.h>
#include <sstream>
#include <string>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>
#include <vector>

namespace {
constexpr char mountTable[] = "/etc/mtab";

struct CloseFile
{
    void operator()(FILE* file) const
    {
        fclose(file);
    }
};
using File = std::unique_ptr<FILE, CloseFile>;

/**
 * Opens the mount table for an update. Null when there is none to update: it is missing or read-only, or it is a link
 * to the kernel's own list, which keeps itself.
 */
FILE* OpenMountTable()
{
    FILE* const table = setmntent(mountTable, "r+");
    struct statfs fileSystem;
    if (table != nullptr && (fstatfs(fileno(table), &fileSystem) != 0 || fileSystem.f_type == PROC_SUPER_MAGIC)) {
        endmntent(table);
        return nullptr;
    }
    return table;
}

/** Completes a last line that lacks its line feed, which an entry appended to the table would else become part of. */
void EndLastLine(FILE* table)
{
    if (fseek(table, -1, SEEK_END) == 0 && getc(table) != '\n') {
        fseek(table, 0, SEEK_END);
        putc('\n', table);
    }
}

/** The blank-separated fields of a mount-table line. */
std::vector<std::string> Fields(const std::string& line)
{
    std::istringstream stream(line);
    return {std::istream_iterator<std::string>(stream), {}};
}

/** A line as it is kept: its fields joined by single blanks, or unchanged when it doesn't fit the line model. */
std::string KeptLine(const std::string& line, const std::vector<std::string>& fields)
{
    static const std::vector<size_t> longest = {79, 79, 9, 79, 1, 1};
    bool fits = fields.size() == longest.size();
    for (size_t i = 0; fits && i < longest.size(); ++i)
        fits = fields[i].size() <= longest[i];
    if (!fits)
        return line;
    std::string kept = fields.front();
    for (size_t i = 1; i < fields.size(); ++i)
        kept += ' ' + fields[i];
    return kept;
}

/** A copy of `table` in an anonymous temporary file, rewound; null when it could not be made whole. */
File CopyOf(FILE* table)
{
    File copy(tmpfile());
    if (!copy)
        return nullptr;
    for (int c = getc(table); c != EOF; c = getc(table))
        putc(c, copy.get());
    // A file system that was full for a while has lost what did not fit, and takes the rest.
    const bool whole = !ferror(table) && fflush(copy.get()) == 0 && !ferror(copy.get());
    rewind(copy.get());
    return whole ? std::move(copy) : nullptr;
}

/** The rest of a stream; to be trusted only if that has no error afterwards. */
std::string Text(FILE* file)
{
    std::string text;
    for (int c = getc(file); c != EOF; c = getc(file))
        text += static_cast<char>(c);
    return text;
}

/** Puts a new mount table in the place of the old one: a power cut leaves the one or the other, whole. */
bool ReplaceMountTable(const std::string& text)
{
    const std::string path = std::string(mountTable) + ".norvo"; // what a power cut left there is ours
    struct stat old;
    const File file(lstat(mountTable, &old) == 0 && S_ISREG(old.st_mode) ? fopen(path.c_str(), "w") : nullptr);
    if (!file)
        return false;
    const int descriptor = fileno(file.get());
    if (fwrite(text.data(), 1, text.size(), file.get()) == text.size() && fflush(file.get()) == 0
        && fchown(descriptor, old.st_uid, old.st_gid) == 0 && fchmod(descriptor, old.st_mode & 07777) == 0
        && fsync(descriptor) == 0 && rename(path.c_str(), mountTable) == 0)
        return true;
    unlink(path.c_str());
    return false;
}

/** Makes `text` the whole content of the mount table. False, with the table in an unknown state, when that fails. */
bool WriteMountTable(const std::string& text)
{
    if (ReplaceMountTable(text))
        return true;
    // A folder that takes no new file, a full disk, a link. Not emptied before: as long as the text is not longer than
    // the old one, a full disk can't get in its way.
    const File file(fopen(mountTable, "r+"));
    return file && fwrite(text.data(), 1, text.size(), file.get()) == text.size() && fflush(file.get()) == 0
        && ftruncate(fileno(file.get()), static_cast<off_t>(text.size())) == 0 && fsync(fileno(file.get())) == 0;
}

/**
 * Prints on standard output what it takes at once. Nobody may be reading there: that neither ends the program, as
 * SIGPIPE would, nor holds it up.
 */
void Echo(const std::string& text)
{
    sigset_t brokenPipe, before;
    sigemptyset(&brokenPipe);
    sigaddset(&brokenPipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &brokenPipe, &before);
    pollfd output{STDOUT_FILENO, POLLOUT, 0};
    size_t done = 0;
    while (done < text.size() && poll(&output, 1, 0) == 1 && output.revents == POLLOUT) {
        // As much as a pipe that can be written to takes whole.
        const ssize_t written
            = write(STDOUT_FILENO, text.data() + done, std::min<size_t>(text.size() - done, PIPE_BUF));
        if (written <= 0)
            break;
        done += static_cast<size_t>(written);
    }
    const timespec none{0, 0};
    sigtimedwait(&brokenPipe, nullptr, &none);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}
} // namespace

bool MountRev()
{
    const bool mounted = mount(ImageStore::revDevice, ImageStore::mountPoint, "udf", 0, "") == 0;
    if (!mounted && errno != EBUSY)
        return false;
    if (!Medium::RestrictMount(ImageStore::mountPoint))
        qWarning("%s: devices and programs there cannot be made useless: %s", ImageStore::mountPoint, strerror(errno));
    if (!mounted)
        return true;
    if (FILE* const table = OpenMountTable()) {
        std::string device = ImageStore::revDevice, directory = ImageStore::mountPoint, type = "udf",
                    options = "defaults,rw,users,noauto";
        const mntent entry{device.data(), directory.data(), type.data(), options.data(), 0, 0};
        EndLastLine(table);
        addmntent(table, &entry);
        endmntent(table);
    }
    return true;
}

bool UmountRev()
{
    if (umount(ImageStore::mountPoint) != 0)
        return false;
    if (FILE* const table = OpenMountTable())
        delmntent(table, ImageStore::revDevice);
    return true;
}

std::string KeptLines(const std::string& table, const char* device)
{
    std::istringstream stream(table);
    std::string kept, line;
    while (std::getline(stream, line)) {
        const std::vector<std::string> fields = Fields(line);
        if (!fields.empty() && fields.front() != device)
            kept += KeptLine(line, fields) + '\n';
    }
    return kept;
}

int delmntent(FILE* table, const char* device)
{
    File copy = CopyOf(table);
    endmntent(table);
    if (!copy)
        return EOF;
    const std::string before = Text(copy.get());
    if (ferror(copy.get()))
        return EOF;
    const std::string kept = KeptLines(before, device);
    if (!WriteMountTable(kept)) {
        WriteMountTable(before);
        return EOF;
    }
    Echo(kept);
    return fclose(copy.release());
}

void CenterWindow(QWidget* window)
{
    const QSize screen = window->screen()->geometry().size();
    window->move((screen.width() - window->width()) / 2, (screen.height() - window->height()) / 2);
}

void CenterWindow(QWidget* reference, QWidget* window)
{
    window->move(reference->x() + (reference->width() - window->width()) / 2,
        reference->y() + (reference->height() - window->height()) / 2);
}
