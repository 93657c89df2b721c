// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/devices/Device.h"

#include <string>

namespace vantorel {

/** A temperature sensor, read from a sysfs attribute in millidegrees. Thread-bound. */
class VANTOREL_EXPORT Thermometer final : public Device {
public:
    /**
     * @param deviceName the name by which observers identify the sensor
     * @param attributePath the full path of the attribute, for instance of a thermal zone
     * @throws Error with the errno of a failed open
     */
    Thermometer(std::string deviceName, std::string attributePath);

    /**
     * The temperature in degrees Celsius; 0 when the attribute contains no number.
     * @throws Error with the errno of a failed read
     */
    float Temperature();
};

} // namespace vantorel
