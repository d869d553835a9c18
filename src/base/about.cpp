// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "about.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

namespace {
/** What a program says of itself; each text but the first two is one line or several, all with a line end. */
struct Manual
{
    const char* name;
    const char* purpose;
    const char* usage; ///< behind the name
    const char* options;
    const char* statuses;
    const char* files;
};

constexpr char progress[] = "  --progress-fd N  write how far the work is to the open descriptor N; comes first\n";
constexpr char commandStatuses[]
    = "  0 done, 64 wrong arguments, 65 a file of the image set is missing or damaged, 66 no such device or "
      "directory,\n"
      "  69 a command that is needed is not installed, 74 the work was begun and failed, 75 the device is unfit or in\n"
      "  use, 128 + N ended by signal N; nothing was written with 64 to 69 and 75\n";
constexpr char setFiles[] = "  /mnt/rev/SERIAL/DATE/  an image set\n";
constexpr char windowStatuses[] = "  0 the window was closed, 1 it could not be shown or runs already\n";
constexpr char choiceFile[] = "  /etc/norvo-clone-restore/devices  which drives were chosen\n";

constexpr Manual manuals[] = {
    {"norvoClonePT", "save the partition table of /dev/DISK, and what else stands outside its partitions, in FILE",
        "[--progress-fd N] DISK FILE", progress, commandStatuses, setFiles},
    {"norvoPartimageClone", "save the partition /dev/PART as the image DIR/BASE.000", "[--progress-fd N] DIR PART BASE",
        progress, commandStatuses, setFiles},
    {"norvoPartimageRestore", "write the image DIR/VOLUME onto the partition /dev/PART",
        "[--progress-fd N] DIR PART VOLUME", progress, commandStatuses, setFiles},
    {"norvoRestorePT", "write the partition table saved in FILE onto /dev/DISK", "[--progress-fd N] DISK FILE",
        progress, commandStatuses, setFiles},
    {"norvoRestoreGrub",
        "in the folder of an image set: install GRUB again on /dev/hdc, and make sure that it can start",
        "[--progress-fd N]", progress, commandStatuses, setFiles},
    {"norvoVerify", "tell whether the image sets on the REV disk are good",
        "[--deep] [--json] [--store DIR] [SERIAL [DATE]]",
        "  --deep       read every image in full as well\n"
        "  --json       print one JSON object\n"
        "  --store DIR  check the sets in DIR instead of /mnt/rev\n"
        "  --           the names begin here\n",
        "  0 all are good, 1 something is damaged or missing, or not authentic but has to be, 2 nothing was checked\n",
        setFiles},
    {"norvoDevices", "list the drives, and tie two of them to /dev/hdb and /dev/hdc",
        "[--json] | [--rev DISK] [--disk DISK] [--by-place] | --clear | --apply | --make-key",
        "  --rev DISK   tie the REV drive\n"
        "  --disk DISK  tie the hard disk\n"
        "  --by-place   tie by the place where the drive is connected\n"
        "  --clear      forget what was chosen\n"
        "  --apply      have the links in /dev follow a file that was edited\n"
        "  --json       print one JSON object\n"
        "  --make-key   make the key by which image sets are known again as made here\n",
        "  0 done, 64 wrong arguments, 65 the file has an error, 66 no such drive, 74 it cannot be written, 75 the "
        "drive\n"
        "  cannot be tied, or there is a key already\n",
        choiceFile},
    {"norvo-device-name", "for udev: print the name in /dev that a disk or partition has besides the kernel's",
        "KERNELNAME | --refresh", "  --refresh  have the links follow the drives that are there\n",
        "  0 done, 64 wrong arguments, 74 it failed\n", choiceFile},
    {"norvoReport", "window that shows the steps of a run; opened by the commands", "[DESCRIPTOR]",
        "  DESCRIPTOR  an open socket to listen on; the next one holds its lock\n", windowStatuses,
        "  $XDG_RUNTIME_DIR  has the socket\n"},
    {"norvoDrives", "window in which the REV drive and the hard disk are chosen, and a REV disk is formatted", "", "",
        windowStatuses, choiceFile},
    {"norvo-clone-restore", "start Norvo Clone-Restore as root from the desktop", "[-C | --drives]",
        "  -C        the clone version\n"
        "  --drives  the window in which the drives are chosen\n",
        "  that of the program, 1 it could not be started, 64 wrong arguments\n",
        "  /usr/share/polkit-1/actions/org.norvo.clonerestore.policy  who may start it\n"},
    {"norvoclonerestore", "save a PC's hard disk onto a REV disk, and restore it", "[-C]", "  -C  the clone version\n",
        "  0 the window was closed, 1 an unknown option, or the program runs already\n",
        "  /mnt/rev/SERIAL/DATE/  an image set\n  /etc/mtab  the mount table\n"},
    {"norvo-session", "the screen of a PC that is started from the stick", "[-C]", "  -C  the clone version\n",
        "  0 it has ended\n", "  /run/live/memory/system.squashfs  the system, where it is in memory\n"},
};
} // namespace

const char* ProgramVersion()
{
    return NORVO_VERSION;
}

bool AnswersQuestion(int argc, char** argv, const std::string& name)
{
    const std::string question = argc == 2 ? argv[1] : "";
    const auto* const manual = std::find_if(std::begin(manuals), std::end(manuals), [&name](const Manual& candidate) {
        return name == candidate.name;
    });
    if (manual == std::end(manuals) || (question != "--help" && question != "--version"))
        return false;
    if (question == "--version") {
        printf("%s %s\n", manual->name, ProgramVersion());
    } else {
        printf("%s: %s\n\nusage: %s %s\n\noptions:\n%s  --help, --version  tell about the program\n\n"
               "exit status:\n%s\nfiles:\n%s",
            manual->name, manual->purpose, manual->name, manual->usage, manual->options, manual->statuses,
            manual->files);
    }
    fflush(stdout);
    return true;
}
