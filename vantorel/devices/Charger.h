// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/devices/Connection.h"
#include "vantorel/devices/Device.h"

#include <string>

namespace vantorel {

/**
 * The battery charger, read from its power-supply directory in sysfs. Thread-bound.
 */
class VANTOREL_EXPORT Charger : public Connection, public Device {
public:
    /**
     * Opens the attributes "online" and "status".
     * @param deviceName any name
     * @param directory the power supply's directory, ending in a slash: the names of the attributes
     *                  are appended to it
     * @throws Error with the errno of a failed open
     */
    Charger(std::string deviceName, const std::string& directory);

    /**
     * Whether external power is present.
     * @throws Error with the errno of a failed read
     */
    bool IsConnected() override;

    /**
     * Whether "status" begins with the word "Charging" and a NUL byte. The attributes of a
     * power supply end in a newline, so the result for "Charging\n" is false.
     * @throws Error with the errno of a failed read
     */
    bool IsCharging();

private:
    UniqueFd onlineFd;
    UniqueFd statusFd;
};

} // namespace vantorel
