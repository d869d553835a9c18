// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "identity.h"

#include <algorithm>
#include <cctype>
#include <sstream>

namespace {
std::string FirstOf(const UdevDevice& device, std::initializer_list<const char*> properties)
{
    for (const char* name : properties) {
        std::string text = UdevDecoded(device.Property(name));
        if (!text.empty())
            return text;
    }
    return {};
}

/** udev has all 40 characters that an ATA disk gives itself; /sys cuts them to 16. */
std::string ReadModel(const UdevDevice& device)
{
    std::string model = FirstOf(device, {"ID_MODEL_ENC", "ID_MODEL"});
    std::string maker = FirstOf(device, {"ID_VENDOR_ENC", "ID_VENDOR"});
    if (model.empty()) {
        model = device.Attribute("device/model");
        maker = device.Attribute("device/vendor");
    }
    // "ATA" stands for no maker; virtual disks have a number for one.
    if (maker.empty() || maker == "ATA" || maker.compare(0, 2, "0x") == 0 || model.compare(0, maker.size(), maker) == 0)
        return model;
    return model.empty() ? maker : maker + " " + model;
}

std::string ReadSerial(const UdevDevice& device, dev_t disk)
{
    std::string serial = FirstOf(device, {"ID_SCSI_SERIAL", "ID_SERIAL_SHORT"});
    for (const char* file : {"device/serial", "serial"}) { // of NVMe disks, of virtual ones
        if (serial.empty())
            serial = device.Attribute(file);
        if (serial == "(null)") // the kernel's word for none
            serial.clear();
    }
    constexpr size_t header = 4; // of the page with the serial number that SCSI and SATA disks have
    const std::string page = serial.empty() ? FirstLine(SysFolder(disk) + "/device/vpd_pg80") : "";
    return page.size() > header ? UdevDecoded(page.substr(header)) : serial;
}
} // namespace

Identity Identity::Of(dev_t disk, UdevDevice::Source source)
{
    if (disk == 0)
        return {};
    const UdevDevice device(disk, source);
    return {ReadModel(device), ReadSerial(device, disk), FirstOf(device, {"ID_WWN_WITH_EXTENSION", "ID_WWN"}),
        FirstOf(device, {"ID_PATH"})};
}

std::string BusOf(dev_t disk, UdevDevice::Source source)
{
    const std::string bus = UdevDevice(disk, source).Property("ID_BUS");
    const std::string name = KernelName(disk);
    return !bus.empty()              ? bus
        : name.rfind("nvme", 0) == 0 ? "nvme"
        : name.rfind("mmc", 0) == 0  ? "mmc"
        : name.rfind("vd", 0) == 0   ? "virtio"
                                     : "";
}

bool IsRevModel(const std::string& model)
{
    std::string words = model;
    std::transform(words.begin(), words.end(), words.begin(), [](unsigned char c) {
        return c == '_' ? ' ' : static_cast<char>(std::tolower(c));
    });
    std::istringstream stream(words);
    bool maker = false;
    bool drive = false;
    for (std::string word; stream >> word;) {
        maker = maker || word == "iomega";
        drive = drive || word.rfind("rrd", 0) == 0
            || (word.rfind("rev", 0) == 0 && word.find_first_not_of("0123456789", 3) == std::string::npos);
    }
    return maker && drive;
}

std::string SizeText(uint64_t bytes)
{
    constexpr const char* units[] = {"bytes", "kB", "MB", "GB", "TB", "PB"};
    size_t unit = 0;
    auto amount = static_cast<double>(bytes);
    for (; amount >= 999.95 && unit + 1 < std::size(units); ++unit)
        amount /= 1000;
    char text[32];
    snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", amount, units[unit]);
    return text;
}

std::string DriveText(const std::string& model, const std::string& serial, uint64_t bytes)
{
    std::string text = model.empty() ? "a drive without a model name" : model;
    text += serial.empty() ? ", no serial number" : ", serial number " + serial;
    return text + ", " + SizeText(bytes);
}
