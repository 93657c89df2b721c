// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/ObserverList.h"
#include "vantorel/service/Service.h"
#include "vantorel/service/ThermometerObserver.h"

#include <chrono>

namespace vantorel {

class Thermometer;

/**
 * Reads a thermometer once per interval and reports the reading, on the service's thread.
 * Thread-bound.
 */
class VANTOREL_EXPORT ThermometerService final : public Service {
public:
    /**
     * @param read the thermometer, borrowed for the life of the service
     * @param pause the time between two readings
     */
    ThermometerService(Thermometer& read, std::chrono::milliseconds pause);
    ~ThermometerService() override;

    /** Adds an observer. Call it before Start(). */
    void AddObserver(ThermometerObserver& observer) { observers.Add(observer); }

    /** Takes one reading and reports it, or the error. */
    void ServiceFunction() override;

private:
    Thermometer& thermometer;
    ObserverList<ThermometerObserver> observers;
};

} // namespace vantorel
