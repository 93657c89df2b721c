// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/devices/ThermometerService.h"

#include "vantorel/devices/Thermometer.h"
#include "vantorel/service/Error.h"

namespace vantorel {

ThermometerService::ThermometerService(Thermometer& read, std::chrono::milliseconds pause)
    : Service(pause), thermometer(read) {}

ThermometerService::~ThermometerService() {
    TerminateIfJoinable();
}

void ThermometerService::ServiceFunction() {
    float temperature = 0;
    try {
        temperature = thermometer.Temperature();
    } catch (Error& error) {
        observers.Notify(&ThermometerObserver::OnThermometerError, thermometer, error);
        return;
    }
    observers.Notify(&ThermometerObserver::OnThermometerTemperatureQuery, thermometer, temperature);
}

} // namespace vantorel
