// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/ConnectionObserver.h"
#include "vantorel/service/FuelGaugeObserver.h"
#include "vantorel/service/ObserverList.h"
#include "vantorel/service/Service.h"

#include <chrono>

namespace vantorel {

/**
 * Polls the fuel gauge and passes each reading, or each failure, to its observers.
 *
 * It starts itself when the connection manager's first decision finds a battery: it applies a
 * pending flash stream, resets the gauge and only then starts polling. The update and the reset run
 * on the connection manager's thread, before the polling thread exists. Register it last with the
 * connection manager: it blocks for a second, and for as long as a stream takes.
 *
 * Two failures of that start end the process: a reset that fails with an errno other than ENXIO,
 * and a polling thread that cannot be created.
 *
 * A gauge that does not acknowledge reads as 0, see FuelGauge. Observers are called on the
 * service's thread; an exception that one throws ends the process. Thread-bound.
 */
class VANTOREL_EXPORT FuelGaugeService final : public ConnectionObserver, public Service {
public:
    /**
     * @param polled the gauge, borrowed for the life of the service
     * @param pause between two passes
     */
    FuelGaugeService(FuelGauge& polled, std::chrono::milliseconds pause);
    /** Stops polling. */
    ~FuelGaugeService() override;

    /** Adds an observer, borrowed. Not locked: add all before the first connection state. */
    void AddObserver(FuelGaugeObserver& observer) { observers.Add(observer); }

    /** Updates, resets and polls the gauge after the first decision; see the class. */
    void OnConnectionStateChanged(ConnectionState newState,
                                  ConnectionState oldState) noexcept override;
    /** Does nothing. */
    void OnConnectionError(Error& error) override;

    /** Makes one pass: level, current, voltage, temperature. A failure does not end the pass. */
    void ServiceFunction() override;

private:
    void ApplyPendingUpdate();
    void ResetGauge();
    template <typename Reading, typename Value>
    void Query(Reading (FuelGauge::*read)(),
               void (FuelGaugeObserver::*operation)(FuelGauge&, Value));

    FuelGauge& gauge;
    ObserverList<FuelGaugeObserver> observers;
};

} // namespace vantorel
