// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <string>

#include <sys/types.h>

struct udev_device;

/** What udev knows of a device. Texts are as udev has them; empty where it knows nothing. */
class UdevDevice
{
public:
    enum class Source { Database, Event };

    /** @param source Event: a rule is at work on this device, whose properties are in the environment of its program */
    explicit UdevDevice(dev_t number, Source source = Source::Database);
    ~UdevDevice();
    UdevDevice(const UdevDevice&) = delete;
    UdevDevice& operator=(const UdevDevice&) = delete;

    [[nodiscard]] std::string Property(const char* name) const;

    /** Whether udev has dealt with the device since it came. */
    [[nodiscard]] bool IsKnown() const;

    /** A file of the device in /sys, without blanks around what it says. */
    [[nodiscard]] std::string Attribute(const char* name) const;

private:
    udev_device* device;
    Source source;
};

/** udev's escapes, as \x20 for a blank, made characters again; without blanks around it. */
std::string UdevDecoded(const std::string& text);

/** Whether udev looks after this machine's /dev. */
bool UdevRuns();

/** Waits until udev has dealt with all that has happened to the devices, ten seconds at most. */
void SettleUdev();
