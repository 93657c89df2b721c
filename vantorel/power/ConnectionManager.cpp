// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/power/ConnectionManager.h"

#include "vantorel/devices/Connection.h"
#include "vantorel/fuelgauge/FuelGauge.h"
#include "vantorel/service/Error.h"
#include "vantorel/service/private/Sleep.h"
#include "vantorel/service/private/StatusLine.h"
#include "vantorel/usb/USB.h"

namespace vantorel {
namespace {

// In total, a host has two seconds to enumerate and configure the port.
constexpr int hostChecks = 20;
constexpr std::chrono::milliseconds hostCheckPause{100};

} // namespace

ConnectionManager::ConnectionManager(Connection& powerSource, FuelGauge& gauge, USB& port,
                                     std::chrono::milliseconds pause)
    : Service(pause), charger(powerSource), fuelGauge(gauge), usb(port) {}

ConnectionManager::~ConnectionManager() {
    TerminateIfJoinable();
}

void ConnectionManager::TransitionToState(ConnectionState newState) {
    PrintStatus("CONNECTION TRANSITION TO STATE: ", static_cast<int>(newState));
    observers.Notify(&ConnectionObserver::OnConnectionStateChanged, newState, state);
    state = newState;
}

void ConnectionManager::ServiceFunction() {
    try {
        Poll();
    } catch (Error& error) {
        observers.Notify(&ConnectionObserver::OnConnectionError, error);
    }
}

void ConnectionManager::Poll() {
    // Read in every state, including the final ones, so that a failing sensor is reported for as
    // long as it fails.
    const bool battery = fuelGauge.IsBatteryConnected();
    const bool online = charger.IsConnected();
    switch (state) {
    case ConnectionState::Undetermined:
        if (battery) {
            TransitionToState(online ? ConnectionState::BatteryCharger : ConnectionState::Battery);
        } else if (online) {
            TransitionToState(ConnectionState::NoBattery);
        } else {
            FindHost();
        }
        break;
    case ConnectionState::Battery:
        // The device has run without the charger, so it has a battery, whatever the gauge reports.
        if (online) {
            TransitionToState(ConnectionState::BatteryCharger);
        }
        break;
    case ConnectionState::BatteryCharger:
        if (!online) {
            TransitionToState(battery ? ConnectionState::Battery : ConnectionState::NoBattery);
        }
        break;
    case ConnectionState::NoHost:
    case ConnectionState::Host:
    case ConnectionState::NoBattery:
        break;
    }
}

void ConnectionManager::FindHost() {
    if (!bound) {
        usb.BindGadgets();
        bound = true;
    }
    for (int check = 0; check < hostChecks; ++check) {
        if (usb.IsConnected()) {
            TransitionToState(ConnectionState::Host);
            return;
        }
        SleepFor(hostCheckPause); // also after the last check, so that the host gets its full time
    }
    TransitionToState(ConnectionState::NoHost);
}

} // namespace vantorel
