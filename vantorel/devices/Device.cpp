// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/devices/Device.h"

#include "vantorel/service/private/OpenFile.h"

#include <utility>

namespace vantorel {

Device::Device(std::string deviceName) : name(std::move(deviceName)) {}

Device::Device(std::string deviceName, std::string devicePath, int flags)
    : fd(OpenFile(devicePath, flags)), name(std::move(deviceName)), path(std::move(devicePath)) {}

Device::~Device() = default;

} // namespace vantorel
