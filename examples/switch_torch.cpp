// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// Switches the torch as a user interface does, and shows that it stays off with a charger.
#include "vantorel/devices/Torch.h"

#include <iostream>

namespace {

class Teller final : public vantorel::TorchObserver {
public:
    void OnTorchOn(vantorel::Torch&) override { std::cout << "torch on" << std::endl; }
    void OnTorchOff(vantorel::Torch&) override { std::cout << "torch off" << std::endl; }
    void OnTorchError(vantorel::Torch&, vantorel::Error& error) override {
        std::cout << "torch: " << error.ToString() << std::endl;
    }
};

} // namespace

int main() {
    using vantorel::ConnectionState;
    try {
        vantorel::Torch torch("torch", "/sys/class/leds/vantorel-torch/");
        Teller teller;
        torch.AddObserver(teller);
        // The connection manager reports this state; the torch may be on only on battery.
        torch.OnConnectionStateChanged(ConnectionState::Battery, ConnectionState::Undetermined);
        torch.OnUserInterfaceTorchOnRequest();
        torch.OnConnectionStateChanged(ConnectionState::BatteryCharger, ConnectionState::Battery);
        torch.OnUserInterfaceTorchOnRequest(); // does nothing now
    } catch (const vantorel::Error& error) {
        std::cerr << "torch: " << error.ToString() << std::endl;
        return 1;
    }
}
