// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/fuelgauge/FuelGaugeService.h"

#include "vantorel/fuelgauge/FuelGauge.h"
#include "vantorel/service/Error.h"
#include "vantorel/service/private/StatusLine.h"

#include <cerrno>

namespace vantorel {

FuelGaugeService::FuelGaugeService(FuelGauge& polled, std::chrono::milliseconds pause)
    : Service(pause), gauge(polled) {}

FuelGaugeService::~FuelGaugeService() {
    Stop();
}

void FuelGaugeService::OnConnectionStateChanged(ConnectionState newState,
                                                ConnectionState oldState) noexcept {
    if (!IsStartOnBattery(newState, oldState)) {
        return;
    }
    if (!gauge.IsUpdated()) {
        ApplyPendingUpdate();
    }
    PrintStatus("FUEL GAUGE SERVICE START");
    ResetGauge();
    Start();
}

void FuelGaugeService::ApplyPendingUpdate() {
    PrintStatus("FUEL GAUGE UPDATING...");
    try {
        gauge.Update();
        PrintStatus("FUEL GAUGE UPDATE COMPLETE!");
    } catch (...) {
        // The stream stays for the next start; until then the device runs without it.
        PrintStatus("FUEL GAUGE UPDATE FAILED!");
    }
}

void FuelGaugeService::ResetGauge() {
    try {
        gauge.Reset();
    } catch (const Error& error) {
        // A failed update leaves the gauge in ROM mode, where it does not acknowledge. The device
        // must start nevertheless: the next start repeats the update.
        if (error.Value() != ENXIO) {
            throw;
        }
    }
}

void FuelGaugeService::OnConnectionError(Error&) {}

void FuelGaugeService::ServiceFunction() {
    Query(&FuelGauge::Level, &FuelGaugeObserver::OnFuelGaugeLevelQuery);
    Query(&FuelGauge::Current, &FuelGaugeObserver::OnFuelGaugeCurrentQuery);
    Query(&FuelGauge::Voltage, &FuelGaugeObserver::OnFuelGaugeVoltageQuery);
    Query(&FuelGauge::Temperature, &FuelGaugeObserver::OnFuelGaugeTemperatureQuery);
}

template <typename Reading, typename Value>
void FuelGaugeService::Query(Reading (FuelGauge::*read)(),
                             void (FuelGaugeObserver::*operation)(FuelGauge&, Value)) {
    Reading reading{};
    try {
        reading = (gauge.*read)();
    } catch (Error& error) {
        observers.Notify(&FuelGaugeObserver::OnFuelGaugeError, gauge, error);
        return;
    }
    observers.Notify(operation, gauge, reading);
}

} // namespace vantorel
