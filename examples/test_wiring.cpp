// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
/**
 * Shows how an application tests its own wiring without the hardware: with stand-ins for the
 * connection manager's inputs, real objects that use files, and no threads. On a failure it prints
 * the wrong result and exits with status 1.
 */
#include "vantorel/devices/Connection.h"
#include "vantorel/devices/Torch.h"
#include "vantorel/fuelgauge/FuelGauge.h"
#include "vantorel/power/ConnectionManager.h"
#include "vantorel/usb/USB.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

using namespace vantorel;

namespace {

struct StandInCharger final : Connection {
    bool IsConnected() override { return online; }
    bool online = false;
};

struct StandInGauge final : FuelGauge {
    StandInGauge() : FuelGauge("gauge") {}
    bool IsBatteryConnected() override { return battery; }
    bool battery = true;
};

struct StandInPort final : USB {
    StandInPort() : USB("port") {}
    void BindGadgets() override { ++bindings; }
    bool IsConnected() override { return true; }
    int bindings = 0;
};

/** Records the notifications of the torch. */
struct Display final : TorchObserver {
    void OnTorchOn(Torch&) override { shown += "on "; }
    void OnTorchOff(Torch&) override { shown += "off "; }
    void OnTorchError(Torch&, Error&) override {}
    std::string shown;
};

/** The wiring under test; the application's main() calls the same function. */
void Wire(ConnectionManager& connection, Torch& torch, TorchObserver& display) {
    connection.AddObserver(torch);
    torch.AddObserver(display);
}

void Expect(bool condition, const char* what) {
    if (!condition) {
        std::cerr << "wrong: " << what << '\n';
        std::exit(1);
    }
}

void TestTheChargerSwitchesTheTorchOff(const std::string& led) {
    StandInCharger charger;
    StandInGauge gauge;
    StandInPort port;
    Torch torch("torch", led);
    Display display;
    ConnectionManager connection(charger, gauge, port, std::chrono::seconds(1));
    Wire(connection, torch, display);

    connection.ServiceFunction(); // one poll, on this thread
    torch.On();
    charger.online = true;
    connection.ServiceFunction();
    Expect(display.shown == "off on off ", "the torch after the change from battery to charger");
    Expect(port.bindings == 0, "the port was bound on the battery");
}

void TestTheDeviceBindsThePortWithoutABattery(const std::string& led) {
    StandInCharger charger;
    StandInGauge gauge;
    StandInPort port;
    Torch torch("torch", led);
    Display display;
    ConnectionManager connection(charger, gauge, port, std::chrono::seconds(1));
    Wire(connection, torch, display);

    gauge.battery = false;
    connection.ServiceFunction();
    torch.On();
    Expect(port.bindings == 1, "number of bindings of the port");
    Expect(display.shown == "off ", "the torch lights on a host");
}

} // namespace

int main() {
    std::string folder = (std::filesystem::temp_directory_path() / "wiring.XXXXXX").string();
    Expect(::mkdtemp(folder.data()) != nullptr, "no temporary directory");
    const std::string led = folder + "/"; // the LED's attribute is a file
    std::ofstream(led + "brightness") << '0';
    TestTheChargerSwitchesTheTorchOff(led);
    TestTheDeviceBindsThePortWithoutABattery(led);
    std::filesystem::remove_all(folder);
    std::cout << "the wiring is right\n";
}
