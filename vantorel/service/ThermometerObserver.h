// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/Error.h"
#include "vantorel/service/Export.h"

namespace vantorel {

class Thermometer;

/**
 * Receives what a ThermometerService reports, on the thread of that service. An observer of one
 * service may be thread-bound, an observer of several must be thread-safe.
 */
class VANTOREL_EXPORT ThermometerObserver {
public:
    /** A reading in degrees Celsius. */
    virtual void OnThermometerTemperatureQuery(Thermometer& thermometer, float temperature) = 0;
    /** Reading failed; the next cycle reads again. */
    virtual void OnThermometerError(Thermometer& thermometer, Error& error) = 0;
    virtual ~ThermometerObserver() = default;
};

} // namespace vantorel
