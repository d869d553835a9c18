// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

// norvoDevices [--json]: lists the machine's drives, and which of them is /dev/hdb and which /dev/hdc.
// norvoDevices [--rev DISK] [--disk DISK] [--by-place] ties drives to these names by what they are; --clear forgets
// that, --apply has the links in /dev follow a file that was edited.
// norvoDevices --make-key gives the machine a key, by which it knows image sets again.

#include "authentication.h"
#include "choice.h"
#include "command.h"
#include "failure.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

#include <getopt.h>

namespace {
constexpr char usage[] = "usage: norvoDevices [--json] | --rev DISK | --disk DISK | --rev DISK --disk DISK "
                         "[--by-place] | --clear | --apply | --make-key";

struct Request
{
    std::string rev;
    std::string disk;
    bool byPlace = false;
    bool clear = false;
    bool apply = false;
    bool json = false;
    bool makeKey = false;

    [[nodiscard]] bool Ties() const
    {
        return !rev.empty() || !disk.empty();
    }
};

Request ParseRequest(int argc, char** argv)
{
    static const option options[] = {{"rev", required_argument, nullptr, 'r'},
        {"disk", required_argument, nullptr, 'd'}, {"by-place", no_argument, nullptr, 'p'},
        {"clear", no_argument, nullptr, 'c'}, {"apply", no_argument, nullptr, 'a'}, {"json", no_argument, nullptr, 'j'},
        {"make-key", no_argument, nullptr, 'k'}, {nullptr, 0, nullptr, 0}};
    Request request;
    bool wrong = false;
    opterr = 0;
    for (int found = getopt_long(argc, argv, "+", options, nullptr); found != -1;
         found = getopt_long(argc, argv, "+", options, nullptr)) {
        if (found == 'r' || found == 'd') {
            std::string& name = found == 'r' ? request.rev : request.disk;
            wrong = wrong || !name.empty() || *optarg == '\0';
            name = optarg;
        }
        request.byPlace = request.byPlace || found == 'p';
        request.clear = request.clear || found == 'c';
        request.apply = request.apply || found == 'a';
        request.json = request.json || found == 'j';
        request.makeKey = request.makeKey || found == 'k';
        wrong = wrong || found == '?';
    }
    const int tasks = int(request.Ties()) + int(request.clear) + int(request.apply) + int(request.makeKey);
    if (wrong || optind < argc || tasks > 1 || (request.makeKey && request.json)
        || (request.byPlace && !request.Ties()))
        throw Failure(ExitStatus::Usage, usage);
    return request;
}

/** The drive of any name: in /dev, a link there, its serial number or its WWN. */
const Drive& FindDrive(const std::vector<Drive>& drives, const std::string& name)
{
    const dev_t number = BlockNumber(name.find('/') == std::string::npos ? "/dev/" + name : name);
    if (FindKernelPartition(number))
        throw Failure(ExitStatus::Refused, name + " is a partition; name its disk");
    std::vector<const Drive*> found;
    for (const Drive& drive : drives) {
        if (number != 0 ? drive.number == number : drive.identity.serial == name || drive.identity.wwn == name)
            found.push_back(&drive);
    }
    if (found.size() > 1)
        throw Failure(ExitStatus::Refused, name + ": several drives are called so; name one of them as /dev/sda");
    if (found.empty())
        throw Failure(ExitStatus::Missing, name + ": no such drive; norvoDevices lists them");
    return *found.front();
}

/** Of other drives with the same serial number; empty where there is none. */
std::string TwinsOf(const Drive& drive, const std::vector<Drive>& drives)
{
    std::string names;
    for (const Drive& other : drives) {
        if (&other != &drive && !drive.identity.serial.empty() && other.identity.serial == drive.identity.serial)
            names += (names.empty() ? "/dev/" : ", /dev/") + other.name;
    }
    return names;
}

void PrintDrive(const Drive& drive, const std::vector<Drive>& drives, const Roles& roles)
{
    const std::string name = roles.NameOf(drive.name, 0);
    Say("/dev/" + drive.name + (name.empty() ? "" : " = /dev/" + name) + ": " + drive.Text());
    std::string line = drive.bus.empty() ? "" : drive.bus + ", ";
    line += drive.optical ? "optical" : drive.removable ? "removable" : "fixed";
    line += drive.identity.wwn.empty() ? "" : ", WWN " + drive.identity.wwn;
    line += drive.identity.place.empty() ? "" : ", at " + drive.identity.place;
    Say("    " + line);
    const std::string twins = TwinsOf(drive, drives);
    if (!twins.empty())
        Say("    the same serial number as " + twins);
    if (!drive.system.IsEmpty())
        Say("    the running system is on it: " + drive.system.Text());
    for (const Remark& use : drive.uses) {
        if (use.Text() != drive.system.Text())
            Say("    " + use.Text());
    }
}

void PrintSeat(const std::string& title, const Seat& seat)
{
    if (seat.drive == nullptr)
        Say(title + "none: " + seat.remark.Text());
    else
        Say(title + "/dev/" + seat.drive->name + ", " + seat.drive->Text() + " (" + seat.remark.Text() + ")");
}

void PrintList(const std::vector<Drive>& drives, const Roles& roles)
{
    for (const Drive& drive : drives)
        PrintDrive(drive, drives, roles);
    PrintSeat("REV drive, /dev/hdb: ", roles.rev);
    PrintSeat("Hard disk, /dev/hdc: ", roles.disk);
    if (roles.rev.drive == nullptr || roles.disk.drive == nullptr)
        Say("norvoDevices --rev DISK --disk DISK chooses.");
}

QString Text(const std::string& text)
{
    return QString::fromStdString(Printable(text));
}

QJsonObject SeatObject(const Seat& seat)
{
    return {{QStringLiteral("disk"), seat.drive == nullptr ? QJsonValue() : QJsonValue(Text(seat.drive->name))},
        {QStringLiteral("remark"), Text(seat.remark.Text())}};
}

QJsonObject DriveObject(const Drive& drive)
{
    QJsonArray uses;
    for (const Remark& use : drive.uses)
        uses.append(Text(use.Text()));
    return {{QStringLiteral("name"), Text(drive.name)}, {QStringLiteral("model"), Text(drive.identity.model)},
        {QStringLiteral("serial"), Text(drive.identity.serial)}, {QStringLiteral("wwn"), Text(drive.identity.wwn)},
        {QStringLiteral("place"), Text(drive.identity.place)}, {QStringLiteral("bus"), Text(drive.bus)},
        {QStringLiteral("bytes"), static_cast<double>(drive.bytes)}, {QStringLiteral("removable"), drive.removable},
        {QStringLiteral("optical"), drive.optical}, {QStringLiteral("system"), !drive.system.IsEmpty()},
        {QStringLiteral("uses"), uses}};
}

void PrintJson(const std::vector<Drive>& drives, const Roles& roles)
{
    QJsonArray list;
    for (const Drive& drive : drives)
        list.append(DriveObject(drive));
    const QJsonDocument document(QJsonObject{{QStringLiteral("disks"), list},
        {QStringLiteral("rev"), SeatObject(roles.rev)}, {QStringLiteral("disk"), SeatObject(roles.disk)}});
    Answer(document.toJson(QJsonDocument::Compact).toStdString());
}

void ChooseNamed(const std::vector<Drive>& drives, const Request& request)
{
    const Drive* const rev = request.rev.empty() ? nullptr : &FindDrive(drives, request.rev);
    const Drive* const disk = request.disk.empty() ? nullptr : &FindDrive(drives, request.disk);
    ChosenTies(drives, rev, disk, request.byPlace).Write();
    if (disk != nullptr && !disk->uses.empty())
        Warn(request.disk + " is in use (" + disk->uses.front().Text() + "): a restore refuses it as long as it is");
}

int Work(int argc, char** argv)
{
    const Request request = ParseRequest(argc, argv);
    if (request.makeKey) {
        Authentication::Make();
        Say(std::string(Authentication::file) + " was made; keep a copy of it where it is safe");
        return 0;
    }
    const std::vector<Drive> drives = ListDrives();
    if (request.Ties())
        ChooseNamed(drives, request);
    if (request.clear)
        Ties().Write();
    const Roles roles = DecideNow(drives);
    if (request.Ties() || request.clear || request.apply)
        Apply(drives, roles);
    if (request.json)
        PrintJson(drives, roles);
    else
        PrintList(drives, roles);
    return 0;
}
} // namespace

int main(int argc, char** argv)
{
    return RunFrame(argc, argv, [argc, argv] {
        return Work(argc, argv);
    });
}
