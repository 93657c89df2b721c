// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/devices/Thermometer.h"

#include "vantorel/devices/private/Attribute.h"

#include <cstdlib>
#include <utility>

#include <fcntl.h>

namespace vantorel {

Thermometer::Thermometer(std::string deviceName, std::string attributePath)
    : Device(std::move(deviceName), std::move(attributePath), O_RDONLY) {}

float Thermometer::Temperature() {
    constexpr std::size_t textSize = 16;
    char text[textSize + 1] = {}; // the read may fill textSize bytes; the last byte stays NUL
    ReadFromStart(fd, text, textSize);
    return static_cast<float>(std::atof(text) * 0.001);
}

} // namespace vantorel
