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
     * @param deviceName the name, free to choose
     * @param directory the power supply's directory with a slash at its end, since the names of the
     *                  attributes are appended to it as it is
     * @throws Error with the errno of a failed open
     */
    Charger(std::string deviceName, const std::string& directory);

    /**
     * Whether external power is present.
     * @throws Error with the errno of a failed read
     */
    bool IsConnected() override;

    /**
     * Whether "status" holds the word "Charging" with a NUL byte after it. The attributes of a
     * power supply end in a newline, so the answer for "Charging\n" is false.
     * @throws Error with the errno of a failed read
     */
    bool IsCharging();

private:
    UniqueFd onlineFd;
    UniqueFd statusFd;
};

} // namespace vantorel
