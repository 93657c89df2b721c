// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// Reads the battery's fuel gauge once.
#include "vantorel/fuelgauge/FuelGauge.h"
#include "vantorel/service/Error.h"

#include <iostream>

int main() {
    try {
        // The gauge is on an I2C bus. A GPIO line signals to it that the system is on.
        vantorel::FuelGauge gauge("gauge", "/dev/vantorel/i2c", "/dev/vantorel/gpio", 3);
        if (!gauge.IsBatteryConnected()) {
            std::cout << "no battery" << std::endl;
            return 1;
        }
        std::cout << "level " << int{gauge.Level()} << " %, " << gauge.Voltage() << " V, "
                  << gauge.Current() << " mA, " << gauge.Temperature() << " C" << std::endl;
    } catch (const vantorel::Error& error) {
        std::cerr << "gauge: " << error.ToString() << std::endl;
        return 1;
    }
}
