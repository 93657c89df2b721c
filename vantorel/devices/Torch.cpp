// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/devices/Torch.h"

#include "vantorel/devices/private/Attribute.h"
#include "vantorel/service/private/OrThrow.h"
#include "vantorel/service/private/Sys.h"

#include <utility>

#include <fcntl.h>

namespace vantorel {
namespace {

constexpr char lit = '1';
constexpr char dark = '0';

} // namespace

Torch::Torch(std::string deviceName, const std::string& directory)
    : Device(std::move(deviceName), directory + "brightness", O_RDWR) {
    char first = 0;
    ReadFromStart(fd, &first, sizeof first);
    brightness = first;
}

void Torch::On() {
    if (!disabled) {
        Switch(lit);
    }
}

void Torch::Off() {
    if (!disabled) {
        Switch(dark);
    }
}

void Torch::Toggle() {
    // A dimmed LED is neither on nor off, so it cannot be toggled.
    const char position = brightness;
    if (position == lit) {
        Off();
    } else if (position == dark) {
        On();
    }
}

void Torch::Switch(char position) {
    // Recorded before the write: after a failure, the user's next request switches the other way
    // instead of repeating the failed write.
    brightness = position;
    // The kernel takes each write to an attribute as its whole text, whatever the file position.
    OrThrow(sys::Write(fd.Get(), &position, sizeof position));
    Report(position);
}

void Torch::Report(char position) {
    if (position == lit) {
        observers.Notify(&TorchObserver::OnTorchOn, *this);
    } else if (position == dark) {
        observers.Notify(&TorchObserver::OnTorchOff, *this);
    }
}

void Torch::OnConnectionStateChanged(ConnectionState newState, ConnectionState /*oldState*/) {
    switch (newState) {
    case ConnectionState::Undetermined:
        break;
    case ConnectionState::Battery:
        disabled = false;
        // The LED does not change; the report gives observers its current position.
        Report(brightness);
        break;
    case ConnectionState::BatteryCharger:
    case ConnectionState::NoHost:
    case ConnectionState::Host:
    case ConnectionState::NoBattery:
        Off();
        disabled = true;
        break;
    }
}

void Torch::OnConnectionError(Error& /*error*/) {}

void Torch::OnUserInterfaceTorchOnRequest() {
    Toggle();
}

void Torch::OnUserInterfaceTorchOffRequest() {
    Toggle();
}

void Torch::OnUserInterfacePowerOffRequest() {}

void Torch::OnUserInterfacePowerButtonDoubleClick() {}

void Torch::OnUserInterfaceTorchButtonDoubleClick() {}

} // namespace vantorel
