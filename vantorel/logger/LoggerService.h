// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/ConnectionObserver.h"
#include "vantorel/service/LoggerObserver.h"
#include "vantorel/service/ObserverList.h"
#include "vantorel/service/Service.h"

#include <chrono>

namespace vantorel {

/**
 * Samples a Logger once per interval: passes each sample to its observers, then logs it with the
 * service's running time, counted in intervals.
 *
 * It starts itself when the connection manager's first decision finds a battery, and runs until its
 * destruction or a Stop(); later decisions do not stop it. Observers run on the service's thread.
 * Any exception in a cycle ends the process. Thread-bound.
 */
class VANTOREL_EXPORT LoggerService final : public ConnectionObserver, public Service {
public:
    /**
     * @param sampled the logger, borrowed for the life of the service
     * @param pause between two samples
     */
    LoggerService(Logger& sampled, std::chrono::milliseconds pause);
    /** Stops the service first. */
    ~LoggerService() override;

    /** Adds an observer. Call it before the first connection state is announced. */
    void AddObserver(LoggerObserver& observer) { observers.Add(observer); }

    void OnConnectionStateChanged(ConnectionState newState,
                                  ConnectionState oldState) noexcept override;
    void OnConnectionError(Error& error) override;

    /** Takes one sample. */
    void ServiceFunction() override;

private:
    Logger& logger;
    ObserverList<LoggerObserver> observers;
    std::chrono::milliseconds uptime{0};
};

} // namespace vantorel
