// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "udev.h"

#include "process.h"

#include <cctype>
#include <cstdlib>

#include <libudev.h>
#include <unistd.h>

namespace {
/** One for the whole process; it holds no descriptors. */
udev* Context()
{
    static udev* const context = udev_new();
    return context;
}

std::string Text(const char* text)
{
    return text == nullptr ? std::string() : text;
}
} // namespace

UdevDevice::UdevDevice(dev_t number, Source source)
    : device(number == 0 ? nullptr : udev_device_new_from_devnum(Context(), 'b', number))
    , source(source)
{
}

UdevDevice::~UdevDevice()
{
    udev_device_unref(device);
}

std::string UdevDevice::Property(const char* name) const
{
    if (source == Source::Event)
        return Text(getenv(name));
    return device == nullptr ? std::string() : Text(udev_device_get_property_value(device, name));
}

bool UdevDevice::IsKnown() const
{
    return device != nullptr && udev_device_get_is_initialized(device) > 0;
}

std::string UdevDevice::Attribute(const char* name) const
{
    return device == nullptr ? std::string() : UdevDecoded(Text(udev_device_get_sysattr_value(device, name)));
}

std::string UdevDecoded(const std::string& text)
{
    constexpr char blanks[] = " \t\n";
    std::string decoded;
    for (size_t i = 0; i < text.size(); ++i) {
        const auto digit = [&text](size_t place) {
            return place < text.size() && std::isxdigit(static_cast<unsigned char>(text[place])) != 0;
        };
        if (text.compare(i, 2, "\\x") == 0 && digit(i + 2) && digit(i + 3)) {
            decoded += static_cast<char>(std::stoi(text.substr(i + 2, 2), nullptr, 16));
            i += 3;
        } else {
            decoded += text[i];
        }
    }
    const size_t begin = decoded.find_first_not_of(blanks);
    return begin == std::string::npos ? "" : decoded.substr(begin, decoded.find_last_not_of(blanks) - begin + 1);
}

bool UdevRuns()
{
    return access("/run/udev/control", F_OK) == 0;
}

void SettleUdev()
{
    // It also waits until udev has looked at disks that were just closed by their writer, which libudev has no call
    // for.
    if (UdevRuns() && HasCommand("udevadm"))
        RunProgram({"udevadm", "settle", "--timeout=10"});
}
