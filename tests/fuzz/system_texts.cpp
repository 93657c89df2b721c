// Puts arbitrary texts where the library reads the small files of the device. Nothing of the
// machine is touched: the files are in memory.
//
// An input is a byte that chooses the reader, then what its file holds.

#include "tests/fuzz/Demand.h"
#include "tests/fuzz/DeviceFiles.h"
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
#include <iostream>
#include <stdexcept>
#include <string>

namespace {

using namespace vantorel;
using test::Demand;
using test::DeviceFiles;

void ReadPartitions(DeviceFiles& files, const std::string& text) {
    files.Write("/proc/mtd", text);
    const std::string device = Tools::MtdOf("env");
    Demand(device.empty() == (text.find("env") == std::string::npos));
    files.Write("/proc/mtd", text + "\nmtd7: 00020000 00010000 \"env\"\n");
    Demand(Tools::MtdOf("env") == (device.empty() ? "/dev/mtd7" : device));
}

void ReadCommandLine(DeviceFiles& files, const std::string& text) {
    files.Write("/proc/cmdline", text);
    try {
        Demand(Tools::ImageSelect().size() <= 1);
    } catch (const std::out_of_range&) {
        Demand(text.find("image_select") == std::string::npos);
    }
}

void ReadMounts(DeviceFiles& files, const std::string& text) {
    files.Write("/etc/mtab", text);
    Tools::IsMounted("/drive", "vfat");
}

void ReadUnits(DeviceFiles& files, const std::string& text) {
    files.Write("/tmp/var/units", text);
    UserInterfaceManager manager;
    manager.TransitionToState(UserInterfaceState::ThermalImaging);
    const bool celsius = text.substr(0, text.find('\n')) == "C";
    Demand(::GetTemperatureUnits() == (celsius ? VANTORELUI_CELSIUS : VANTORELUI_FAHRENHEIT));
    UserInterfaceManager::UnitsChanged(&manager);
    Demand(files.Read("/tmp/var/units") == (celsius ? "C" : "F"));
}

constexpr const char* identityFiles[] = {"/etc/kiro/version", "/etc/kiro/revision", "/tmp/var/sku"};

template <std::size_t file>
void ReadIdentity(DeviceFiles& files, const std::string& text) {
    const std::string path = identityFiles[file];
    files.Write(path, text);
    const Version version;
    Demand(version.Sku().find('\n') == std::string::npos);
    try {
        const std::string shown = VersionText(version);
        Demand(std::ranges::count(shown, '.') == 3 && shown.size() <= 15);
    } catch (const std::logic_error&) { // no number, or none that fits
        Demand(path != "/tmp/var/sku");
    }
}

void ReadSession(DeviceFiles& files, const std::string& text) {
    files.Write("/log/session", text);
    const auto begin = [&files] {
        const Logger logger("/log/");
        const std::string line = files.Read("/log/session");
        Demand(line.find_first_not_of("0123456789") == line.size() - 1 && line.back() == '\n');
        return std::stoul(line);
    };
    const unsigned long first = begin();
    Demand(begin() == (first + 1) % 0x1'0000'0000UL);
}

void ReadMarker(DeviceFiles& files, const std::string& text) {
    files.Write("/tmp/var/firstboot", text);
    Firstboot marker;
    static_cast<void>(marker.Value());
    marker.Reset();
    Demand(marker.Value());
    marker.Clear();
    Demand(!marker.Value());
}

void ReadTemperature(DeviceFiles& files, const std::string& text) {
    files.Write("/temperature", text);
    LoggerEntry entry;
    entry.boardTemperature = Thermometer("board", "/temperature").Temperature();
    entry.processorTemperature = -entry.boardTemperature;
    const std::string line = entry.ToString(false, false, ",");
    Demand(std::ranges::count(line, ',') == 13);
}

void ReadCharger(DeviceFiles& files, const std::string& text) {
    files.Write("/charger/online", text);
    files.Write("/charger/status", text);
    Charger charger("charger", "/charger/");
    Demand(charger.IsConnected() == text.starts_with('1'));
    Demand(charger.IsCharging() == text.starts_with(std::string("Charging\0", 9)));
}

void ReadPortState(DeviceFiles& files, const std::string& text) {
    files.Write("/sys/class/udc/udc.0/state", text);
    USB port("usb", "udc.0");
    Demand(!port.IsConnected() || text.starts_with("configured"));
}

// In the order of the corpus.
constexpr void (*readers[])(DeviceFiles&, const std::string&) = {
    ReadPartitions,  ReadCommandLine, ReadMounts, ReadUnits,       ReadIdentity<0>, ReadIdentity<1>,
    ReadIdentity<2>, ReadSession,     ReadMarker, ReadTemperature, ReadCharger,     ReadPortState};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::cout.setstate(std::ios::failbit);
    if (size > 0) {
        DeviceFiles files;
        readers[data[0] % std::size(readers)](files, std::string(data + 1, data + size));
    }
    return 0;
}
