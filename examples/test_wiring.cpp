/**
 * How an application tests its own wiring without the hardware: stand-ins for what the connection
 * manager asks, real objects for what can be made of files, and no thread. Ends with 1 and a line
 * that says what is wrong.
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

/** Writes down what the user would see of the torch. */
struct Display final : TorchObserver {
    void OnTorchOn(Torch&) override { shown += "on "; }
    void OnTorchOff(Torch&) override { shown += "off "; }
    void OnTorchError(Torch&, Error&) override {}
    std::string shown;
};

/** The wiring under test, which the application's main() calls as well. */
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

void TestTheTorchGoesOutWhenTheChargerComes(const std::string& led) {
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
    Expect(display.shown == "off on off ", "the torch on its way from the battery to the charger");
    Expect(port.bindings == 0, "a port bound without need");
}

void TestAHostBringsThePortUp(const std::string& led) {
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
    Expect(port.bindings == 1, "how often the port was bound");
    Expect(display.shown == "off ", "a torch that may not light at a host");
}

} // namespace

int main() {
    std::string folder = (std::filesystem::temp_directory_path() / "wiring.XXXXXX").string();
    Expect(::mkdtemp(folder.data()) != nullptr, "no temporary directory");
    const std::string led = folder + "/"; // the LED's attribute is a file
    std::ofstream(led + "brightness") << '0';
    TestTheTorchGoesOutWhenTheChargerComes(led);
    TestAHostBringsThePortUp(led);
    std::filesystem::remove_all(folder);
    std::cout << "the wiring is right\n";
}
