// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/devices/Torch.h"

#include "vantorel/devices/private/Attribute.h"
#include "vantorel/service/Mutex.h"
#include "vantorel/service/private/OrThrow.h"
#include "vantorel/service/private/Sys.h"

#include <utility>

#include <fcntl.h>

namespace vantorel {
namespace {

constexpr char lit = '1';
constexpr char dark = '0';

/**
 * Makes the check of `disabled` and the write that follows one step. It is not in the object, whose
 * size is part of the binary interface. A device has one torch, so nothing else waits for it.
 */
Mutex& Switching() {
    static auto& mutex = *new Mutex; // never destroyed: threads may outlive main()
    return mutex;
}

} // namespace

Torch::Torch(std::string deviceName, const std::string& directory)
    : Device(std::move(deviceName), directory + "brightness", O_RDWR) {
    char first = 0;
    ReadFromStart(fd, &first, sizeof first);
    brightness = first;
}

void Torch::On() {
    Switch(lit);
}

void Torch::Off() {
    Switch(dark);
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
    {
        const Lock lock(Switching());
        if (disabled) {
            return;
        }
        Write(position);
    }
    Report(position);
}

void Torch::Disable() {
    {
        const Lock lock(Switching());
        // A request that came while the observers were notified of the switching-off has lit it.
        const bool isLit = brightness == lit;
        if (isLit) {
            Write(dark);
        }
        disabled = true;
        if (!isLit) {
            return;
        }
    }
    Report(dark);
}

void Torch::Write(char position) {
    // Recorded before the write: after a failure, the user's next request switches the other way
    // instead of repeating the failed write.
    brightness = position;
    // The kernel takes each write to an attribute as its whole text, whatever the file position.
    OrThrow(sys::Write(fd.Get(), &position, sizeof position));
}

void Torch::Report(char position) {
    for (;;) {
        if (position == lit) {
            observers.Notify(&TorchObserver::OnTorchOn, *this);
        } else if (position == dark) {
            observers.Notify(&TorchObserver::OnTorchOff, *this);
        }
        // Another thread may have switched and reported meanwhile. Each observer's last report must
        // be the position that was requested last.
        const char now = brightness;
        if (now == position) {
            return;
        }
        position = now;
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
        Disable();
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
