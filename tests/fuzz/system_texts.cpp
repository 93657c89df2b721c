// Puts arbitrary texts where the library reads the small files of the device. Nothing of the
// machine is touched: the files are in memory.
//
// An input is a byte that chooses the reader, then what its file holds.

#include "tests/fuzz/Demand.h"
#include "tests/support/ScriptedSys.h"
#include "tests/support/TextFiles.h"
#include "vantorel/devices/Charger.h"
#include "vantorel/devices/Thermometer.h"
#include "vantorel/logger/Logger.h"
#include "vantorel/service/Error.h"
#include "vantorel/system/Firstboot.h"
#include "vantorel/system/Tools.h"
#include "vantorel/ui/UserInterfaceManager.h"
#include "vantorel/ui/Version.h"
#include "vantorel/usb/USB.h"

#include <VantorelUI.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <stdexcept>
#include <string>

namespace {

using namespace vantorel;
using vantorel::test::Demand;

/** The device's files. */
class World {
public:
    World() {
        sys->Open = [this](const char* path, int flags, unsigned) {
            return files.Open(path, flags);
        };
        sys->Mkdir = [](const char*, mode_t) { return 0; };
    }

    void Identify() {
        files.Write("/etc/kiro/version", "4.2\n");
        files.Write("/etc/kiro/revision", "REV-6\n");
    }

    test::TextFiles files;
    test::ScopedSys sys;
};

void ReadPartitions(World& world, const std::string& text) {
    world.files.Write("/proc/mtd", text);
    const std::string device = Tools::MtdOf("env");
    Demand(device.empty() == (text.find("env") == std::string::npos));
    world.files.Write("/proc/mtd", text + "\nmtd7: 00020000 00010000 \"env\"\n");
    Demand(Tools::MtdOf("env") == (device.empty() ? "/dev/mtd7" : device));
}

void ReadCommandLine(World& world, const std::string& text) {
    const bool given = text.find("image_select") != std::string::npos;
    world.files.Write("/proc/cmdline", text);
    try {
        Demand(Tools::ImageSelect().size() <= 1 && given);
    } catch (const std::out_of_range&) {
        Demand(!given);
    }
    world.files.Write("/proc/cmdline", text + " image_select=1\n");
    Demand(given || Tools::ImageSelect() == "1");
}

void ReadMounts(World& world, const std::string& text) {
    world.files.Write("/etc/mtab", text);
    Tools::IsMounted("/drive", "vfat");
    world.files.Write("/etc/mtab", text + "\n/dev/loop3 /drive vfat rw 0 0\n");
    // The C library loses lines behind one with a NUL. The kernel has none.
    Demand(text.find('\0') != std::string::npos || Tools::IsMounted("/drive", "vfat"));
}

void ReadUnits(World& world, const std::string& text) {
    world.Identify();
    world.files.Write("/tmp/var/units", text);
    UserInterfaceManager manager;
    manager.TransitionToState(UserInterfaceState::ThermalImaging);
    const bool celsius = text.substr(0, text.find('\n')) == "C";
    Demand(::GetTemperatureUnits() == (celsius ? VANTORELUI_CELSIUS : VANTORELUI_FAHRENHEIT));
    UserInterfaceManager::UnitsChanged(&manager);
    Demand(world.files.Read("/tmp/var/units") == (celsius ? "C" : "F"));
}

void ReadIdentity(World& world, const std::string& path, const std::string& text) {
    world.Identify();
    world.files.Write(path, text);
    const Version version;
    Demand(version.Sku().find('\n') == std::string::npos);
    try {
        const std::string shown = VersionText(version);
        Demand(std::ranges::count(shown, '.') == 3 && shown.size() <= 15);
    } catch (const std::invalid_argument&) {
        Demand(path != "/tmp/var/sku");
    } catch (const std::out_of_range&) {
        Demand(path == "/etc/kiro/version");
    }
}

void ReadSession(World& world, const std::string& text) {
    world.files.Write("/log/session", text);
    const auto begin = [&world] {
        const Logger logger("/log/");
        const std::string line = world.files.Read("/log/session");
        Demand(line.find_first_not_of("0123456789") == line.size() - 1 && line.back() == '\n');
        return std::stoul(line);
    };
    const unsigned long first = begin();
    Demand(begin() == (first + 1) % 0x1'0000'0000UL);
}

void ReadMarker(World& world, const std::string& text) {
    world.files.Write("/tmp/var/firstboot", text);
    Firstboot marker;
    static_cast<void>(marker.Value());
    marker.Reset();
    Demand(marker.Value());
    marker.Clear();
    Demand(!marker.Value());
}

void ReadTemperature(World& world, const std::string& text) {
    world.files.Write("/temperature", text);
    LoggerEntry entry;
    entry.boardTemperature = Thermometer("board", "/temperature").Temperature();
    entry.processorTemperature = -entry.boardTemperature;
    const std::string line = entry.ToString(false, false, ",");
    Demand(std::ranges::count(line, ',') == 13);
}

void ReadCharger(World& world, const std::string& text) {
    world.files.Write("/charger/online", text);
    world.files.Write("/charger/status", text);
    Charger charger("charger", "/charger/");
    Demand(charger.IsConnected() == text.starts_with('1'));
    Demand(charger.IsCharging() == text.starts_with(std::string("Charging\0", 9)));
}

void ReadPortState(World& world, const std::string& text) {
    world.files.Write("/sys/class/udc/udc.0/state", text);
    USB port("usb", "udc.0");
    const std::string seen(text.substr(0, 16).c_str());
    Demand(port.IsConnected() == (seen.size() == 11 && seen.starts_with("configured")));
}

void Play(std::uint8_t reader, const std::string& text) {
    World world;
    switch (reader % 12) {
    case 0:
        return ReadPartitions(world, text);
    case 1:
        return ReadCommandLine(world, text);
    case 2:
        return ReadMounts(world, text);
    case 3:
        return ReadUnits(world, text);
    case 4:
        return ReadIdentity(world, "/etc/kiro/version", text);
    case 5:
        return ReadIdentity(world, "/etc/kiro/revision", text);
    case 6:
        return ReadIdentity(world, "/tmp/var/sku", text);
    case 7:
        return ReadSession(world, text);
    case 8:
        return ReadMarker(world, text);
    case 9:
        return ReadTemperature(world, text);
    case 10:
        return ReadCharger(world, text);
    default:
        return ReadPortState(world, text);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::cout.setstate(std::ios::failbit);
    if (size > 0) {
        Play(data[0], std::string(data + 1, data + size));
    }
    return 0;
}
