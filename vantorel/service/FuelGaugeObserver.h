// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/Error.h"
#include "vantorel/service/Export.h"

#include <cstdint>

namespace vantorel {

class FuelGauge;

/**
 * Receives what the FuelGaugeService reports in each pass, in this order, on the service's thread.
 * An observer may be thread-bound.
 */
class VANTOREL_EXPORT FuelGaugeObserver {
public:
    /** State of charge in percent. */
    virtual void OnFuelGaugeLevelQuery(FuelGauge& gauge, std::uint8_t level) = 0;
    /** Current in mA, negative while discharging. */
    virtual void OnFuelGaugeCurrentQuery(FuelGauge& gauge, std::int16_t current) = 0;
    /** Voltage in volts. */
    virtual void OnFuelGaugeVoltageQuery(FuelGauge& gauge, float voltage) = 0;
    /** Battery temperature in degrees Celsius. */
    virtual void OnFuelGaugeTemperatureQuery(FuelGauge& gauge, float temperature) = 0;
    /** One reading failed; the pass still takes the others. */
    virtual void OnFuelGaugeError(FuelGauge& gauge, Error& error) = 0;
    virtual ~FuelGaugeObserver() = default;
};

} // namespace vantorel
