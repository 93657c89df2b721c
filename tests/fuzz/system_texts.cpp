// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// Lets the library read arbitrary texts from the device's small files. The files are in memory; no
// file of the machine is used.
//
// An input is a byte that selects the reader, then the content of its file.

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
using Text = const std::string&;

test::DeviceFiles* files = nullptr;

void ReadUnits(Text text) {
    UserInterfaceManager manager;
    manager.TransitionToState(UserInterfaceState::ThermalImaging);
    const bool celsius = text.substr(0, text.find('\n')) == "C";
    Demand(::GetTemperatureUnits() == (celsius ? VANTORELUI_CELSIUS : VANTORELUI_FAHRENHEIT));
    UserInterfaceManager::UnitsChanged(&manager);
    Demand(files->Read("/tmp/var/units") == (celsius ? "C" : "F"));
}

void ReadVersion(Text) {
    const std::string shown = VersionText(Version());
    Demand(std::ranges::count(shown, '.') == 3 && shown.size() <= 15);
}

void ReadSession(Text) {
    const auto begin = [] {
        const Logger logger("/log/");
        const std::string line = files->Read("/log/session");
        Demand(line.find_first_not_of("0123456789") == line.size() - 1 && line.back() == '\n');
        return std::stoul(line);
    };
    const unsigned long first = begin();
    Demand(begin() == (first + 1) % 0x1'0000'0000UL);
}

void ReadMarker(Text) {
    Firstboot marker;
    static_cast<void>(marker.Value());
    marker.Reset();
    Demand(marker.Value());
    marker.Clear();
    Demand(!marker.Value());
}

void ReadTemperature(Text) {
    LoggerEntry entry;
    entry.boardTemperature = Thermometer("board", "/temperature").Temperature();
    entry.processorTemperature = -entry.boardTemperature;
    const std::string line = entry.ToString(false, false, ",");
    Demand(std::ranges::count(line, ',') == 13);
}

void ReadCharger(Text text) {
    files->Write("/charger/status", text);
    Charger charger("charger", "/charger/");
    Demand(charger.IsConnected() == text.starts_with('1'));
    Demand(charger.IsCharging() == text.starts_with(std::string("Charging\0", 9)));
}

struct Reader {
    const char* file;
    void (*read)(Text);
    bool throws = false; // on a missing file or a text that is not a number
};
constexpr Reader readers[] = {
    // In the order of the corpus.
    {"/proc/mtd",
     [](Text text) { Demand(Tools::MtdOf("env").empty() == (text.find("env") == text.npos)); }},
    {"/proc/cmdline", [](Text) { Demand(Tools::ImageSelect().size() <= 1); }, true},
    {"/etc/mtab", [](Text) { Tools::IsMounted("/drive", "vfat"); }},
    {"/tmp/var/units", ReadUnits},
    {"/etc/kiro/version", ReadVersion, true},
    {"/etc/kiro/revision", ReadVersion, true},
    {"/tmp/var/sku", ReadVersion},
    {"/log/session", ReadSession},
    {"/tmp/var/firstboot", ReadMarker},
    {"/temperature", ReadTemperature},
    {"/charger/online", ReadCharger},
    {"/sys/class/udc/udc.0/state", [](Text) { USB("usb", "udc.0").IsConnected(); }}};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::cout.setstate(std::ios::failbit);
    if (size == 0) {
        return 0;
    }
    test::DeviceFiles present;
    files = &present;
    const Reader& reader = readers[data[0] % std::size(readers)];
    const std::string text(data + 1, data + size);
    files->Write(reader.file, text);
    try {
        reader.read(text);
    } catch (const std::logic_error&) {
        Demand(reader.throws);
    }
    return 0;
}
