// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/devices/Connection.h"
#include "vantorel/devices/Device.h"

#include <string>

#include <linux/gpio.h>

namespace vantorel {

/**
 * The factory's test fixture, which pulls one or more of the first three lines of a GPIO chip low.
 * Thread-bound.
 *
 * The lines stay requested until the process ends, even after the object's destruction, so that no
 * other program can drive them against the fixture. A process can therefore construct one fixture
 * per chip; a second one fails with EBUSY.
 */
class VANTOREL_EXPORT TestFixture final : public Connection, public Device {
public:
    /**
     * Requests lines 0 to 2 as inputs, active when low.
     * @param deviceName the name; its first 31 bytes also label the lines
     * @param devicePath the GPIO chip's character device
     * @throws Error with the errno of the failed open or request
     */
    TestFixture(std::string deviceName, std::string devicePath);

    /**
     * Whether any of the three lines is active.
     * @throws Error with the errno of a failed request
     */
    bool IsConnected() override;

private:
    int lineFd = -1; // never closed, see above
    gpio_v2_line_request request{};
};

} // namespace vantorel
