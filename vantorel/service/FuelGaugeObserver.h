#pragma once

#include "vantorel/service/Error.h"
#include "vantorel/service/Export.h"

#include <cstdint>

namespace vantorel {

class FuelGauge;

/**
 * What the FuelGaugeService reports once a pass, on its own thread, in this order.
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
    /** One reading failed; the others of the pass are still taken. */
    virtual void OnFuelGaugeError(FuelGauge& gauge, Error& error) = 0;
    virtual ~FuelGaugeObserver() = default;
};

} // namespace vantorel
