// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "words.h"

#include "imagestore.h"

#include <KLocalizedString>

#include <QDate>
#include <QLocale>
#include <QRegularExpression>
#include <QStringList>

#include <algorithm>
#include <cmath>
#include <filesystem>

namespace {
QString Text(const std::string& text)
{
    return QString::fromStdString(text);
}

struct TypeName
{
    unsigned type;
    const char* name;
};
constexpr TypeName typeNames[] = {{0x83, "Linux"}, {0x07, "NTFS"}, {0x0b, "FAT32"}, {0x0c, "FAT32"}, {0x06, "FAT16"},
    {0x0e, "FAT16"}, {0x8e, "LVM"}, {0xef, "EFI"}, {0xfd, "RAID"}, {0xee, "GPT"}};

/** What is on the partition, as its image says or else as the table does. */
QString Content(const Step& step)
{
    TableLine line;
    line.type = step.type;
    if (line.IsSwap())
        return i18n("swap");
    if (line.IsExtended() || step.content == "extended")
        return i18n("extended");
    if (!step.content.empty())
        return step.content == "unknown" ? i18n("unknown content") : Text(step.content);
    for (const TypeName& each : typeNames) {
        if (each.type == step.type)
            return QString::fromLatin1(each.name);
    }
    return i18n("type %1", QString::number(step.type, 16));
}

QString Phase(const Step& step, bool isClone)
{
    if (step.phase == "check")
        return i18n("checking the image");
    if (step.phase == "prove")
        return i18n("proving the image");
    if (step.phase == "write")
        return isClone ? i18n("saving") : i18n("writing");
    return {};
}

/** As "saving, 12.3 MB/s, 1:05 left". */
QString Running(const Step& step, bool isClone)
{
    QStringList parts = {Phase(step, isClone)};
    if (step.Rate() > 0) {
        parts.append(i18n("%1/s", Words::Size(step.Rate())));
        parts.append(i18n("%1 left", Words::Duration(step.SecondsLeft())));
    }
    parts.removeAll(QString());
    return parts.join(QStringLiteral(", "));
}

/** What a fault is called in the headline. */
QString Subject(const Step& step)
{
    switch (step.kind) {
    case Step::Kind::Table:
        return i18n("the partition table");
    case Step::Kind::BootLoader:
        return i18n("the boot loader");
    case Step::Kind::Partition:
        break;
    }
    return Text(step.name);
}

QString Reason(const Step& step)
{
    if (!step.reason.empty())
        return Text(step.reason);
    return i18n("its command was not heard of; is it installed, and the REV disk there?");
}

/** The reason without the path at its beginning, which the text below the headline has. */
QString Brief(const Step& step)
{
    const QString reason = Reason(step);
    const int end = reason.startsWith(QLatin1Char('/')) ? reason.indexOf(QStringLiteral(": ")) : -1;
    return end < 0 ? reason : reason.mid(end + 2);
}

/** What to append to the headline: the reason that all faults have in common. */
QString CommonReason(const std::vector<Step>& faults)
{
    const QString reason = Brief(faults.front());
    const bool isCommon = std::all_of(faults.begin(), faults.end(), [&reason](const Step& step) {
        return Brief(step) == reason;
    });
    return isCommon ? QStringLiteral(": ") + reason : QString();
}
QString Subjects(const std::vector<Step>& steps)
{
    QStringList names;
    std::transform(steps.begin(), steps.end(), std::back_inserter(names), Subject);
    return names.join(QStringLiteral(", "));
}

/** In the words of the operator's country; what is no date of a set's folder stays as it is. */
QString Day(const QString& name)
{
    const QDate date = QLocale::c().toDate(name, QLatin1String(ImageStore::dateFormat));
    return date.isValid() ? QLocale().toString(date, QLocale::LongFormat) : name;
}

/** All is done that the program meant. */
QString Completed(const Outcome& outcome, bool isClone)
{
    const QString warned = outcome.warned == 0 ? QString() : i18n(" (with warnings)");
    const auto proved = static_cast<int>(outcome.proved);
    const auto needed = static_cast<int>(outcome.needed);
    if (isClone)
        return i18np("Image set complete: %2 of %1 image proved", "Image set complete: %2 of %1 images proved", needed,
                   proved)
            + warned;
    if (needed == 0)
        return i18n("Restored as chosen: no partition was to be written") + warned;
    return i18np("Restored: %2 of %1 partition written", "Restored: %2 of %1 partitions written", needed, proved)
        + warned;
}

QString Unfinished(const Outcome& outcome, bool isClone)
{
    if (!outcome.last)
        return i18n("Not finished: the program ended before it said that the run was over");
    const QString subject = Subject(*outcome.last);
    if (!outcome.wasGoingOn)
        return i18n("Not finished: the program ended before %1 was begun", subject);
    return isClone ? i18n("Not finished: the program ended while %1 was saved", subject)
                   : i18n("Not finished: the program ended while %1 was written", subject);
}
} // namespace

QString Words::Title(const RunState& run)
{
    const std::filesystem::path folder = std::filesystem::path(run.TablePath()).parent_path();
    const QString serial = Text(folder.parent_path().filename()), day = Day(Text(folder.filename()));
    return run.IsClone() ? i18n("Cloning %1, %2", serial, day) : i18n("Restoring %1, %2", serial, day);
}

QString Words::Disk(const RunState& run)
{
    const RunEntry& disk = run.Disk();
    if (disk.diskBytes == 0)
        return {};
    const QString model = disk.model.empty() ? i18n("no model name") : Text(disk.model);
    const QString size = Size(static_cast<double>(disk.diskBytes));
    return disk.serial.empty() ? i18n("Hard disk: %1, no serial number, %2", model, size)
                               : i18n("Hard disk: %1, serial number %2, %3", model, Text(disk.serial), size);
}

QString Words::Name(const Step& step, bool isClone)
{
    if (step.kind == Step::Kind::BootLoader)
        return i18n("Boot loader");
    if (step.kind == Step::Kind::Table)
        return isClone ? i18n("Boot sector and partition table") : i18n("Partition table and boot track");
    if (step.bytes == 0)
        return Text(step.name);
    return i18n("%1: %2, %3", Text(step.name), Content(step), Size(static_cast<double>(step.bytes)));
}

QString Words::State(const Step& step)
{
    TableLine line;
    line.type = step.type;
    switch (step.state) {
    case Step::State::Waiting:
        return i18n("waiting");
    case Step::State::Running:
        return i18n("running");
    case Step::State::Done:
        return i18n("done");
    case Step::State::Warned:
        return i18n("done with warnings");
    case Step::State::Failed:
        return i18n("failed");
    case Step::State::NotBegun:
        return i18n("not begun");
    case Step::State::LeftOut:
        break;
    }
    return line.IsSwap() ? i18n("needs no image") : i18n("left out");
}

QString Words::Details(const Step& step, bool isClone)
{
    TableLine line;
    line.type = step.type;
    QStringList parts;
    if (step.state == Step::State::Running)
        parts.append(Running(step, isClone));
    else if (step.state == Step::State::Failed)
        parts.append(Reason(step));
    else if (step.HasEnded() && isClone && step.imageBytes > 0 && !line.IsExtended())
        parts.append(i18n("image of %1", Size(static_cast<double>(step.imageBytes))));
    for (const std::string& warning : step.warnings)
        parts.append(Text(warning));
    parts.removeAll(QString());
    return parts.join(QLatin1Char('\n'));
}

QString Words::Headline(const Outcome& outcome, bool isClone)
{
    const QString faults = Subjects(outcome.faults);
    const QString reason = faults.isEmpty() ? QString() : CommonReason(outcome.faults);
    switch (outcome.kind) {
    case Outcome::Kind::Complete:
        return Completed(outcome, isClone);
    case Outcome::Kind::Unfinished:
        return Unfinished(outcome, isClone);
    case Outcome::Kind::ByHand:
        return faults.isEmpty() ? i18n("By hand, done: %1", Subjects(outcome.done))
                                : i18n("By hand, failed: %1", faults) + reason;
    case Outcome::Kind::Faulty:
        break;
    }
    if (faults.isEmpty())
        return isClone ? i18n("NOT complete: the partition table cannot be read")
                       : i18n("NOT restored: the partition table cannot be read");
    if (!isClone)
        return i18n("NOT restored: %1", faults) + reason;
    return i18np("NOT complete: %2 is missing", "NOT complete: %2 are missing", static_cast<int>(outcome.faults.size()),
               faults)
        + reason;
}

QString Words::Advice(const RunState& run, const Outcome& outcome)
{
    QStringList lines;
    for (const Step& step : outcome.faults)
        lines.append(i18n("%1: %2", Subject(step), Reason(step)));
    const std::filesystem::path folder = std::filesystem::path(run.TablePath()).parent_path();
    const QString serial = Text(folder.parent_path().filename());
    const QString date = Text(folder.filename());
    if (outcome.kind == Outcome::Kind::ByHand && run.IsClone())
        lines.append(i18n("norvoVerify \"%1\" %2 tells whether the image set is complete.", serial, date));
    else if (outcome.kind == Outcome::Kind::Unfinished && run.IsClone())
        lines.append(i18n("Do not wipe the hard disk. Start the program again and clone again; norvoVerify \"%1\" %2 "
                          "tells what is on the REV disk.",
            serial, date));
    else if (outcome.kind == Outcome::Kind::Unfinished)
        lines.append(
            i18n("Start the program again and restore again; until then do not rely on what is on the hard disk."));
    else if (run.IsClone() && outcome.kind == Outcome::Kind::Complete)
        lines.append(i18n("norvoVerify \"%1\" %2 checks it again at any time.", serial, date));
    else if (run.IsClone())
        lines.append(i18n("Do not wipe the hard disk. Mend what is named here and clone again; norvoVerify \"%1\" %2 "
                          "tells what is on the REV disk.",
            serial, date));
    else if (outcome.kind == Outcome::Kind::Faulty)
        lines.append(
            i18n("Mend what is named here and restore again; norvoVerify \"%1\" %2 tells whether the image set "
                 "is good.",
                serial, date));
    return lines.join(QLatin1Char('\n'));
}

QString Words::Breakable(QString text)
{
    static const QRegularExpression places(QStringLiteral("([/_]|[.](?![0-9]))"));
    return text.replace(places, QStringLiteral("\\1") + QChar(0x200b));
}

QString Words::Duration(double seconds)
{
    const auto all = std::llround(seconds);
    const QChar zero = QLatin1Char('0');
    const QString minutes = QString::number(all / 60 % 60);
    const QString rest = QString::number(all % 60).rightJustified(2, zero);
    if (all < 3600)
        return minutes + QLatin1Char(':') + rest;
    return QString::number(all / 3600) + QLatin1Char(':') + minutes.rightJustified(2, zero) + QLatin1Char(':') + rest;
}

QString Words::Size(double bytes)
{
    return QLocale().formattedDataSize(static_cast<qint64>(bytes), 1, QLocale::DataSizeSIFormat);
}
