#pragma once

#include "vantorel/service/ConnectionObserver.h"
#include "vantorel/service/FuelGaugeObserver.h"
#include "vantorel/service/ObserverList.h"
#include "vantorel/service/Service.h"

#include <chrono>

namespace vantorel {

/**
 * Polls the fuel gauge and hands each reading, or each failure, to its observers.
 *
 * It starts itself when the connection manager's first decision finds a battery: it applies a
 * pending flash stream, resets the gauge and only then starts polling, all of it on the connection
 * manager's thread, so nothing else of this class speaks to the gauge meanwhile. Register it last
 * with the connection manager: it blocks for a second or, with a stream, for minutes.
 *
 * A gauge that does not acknowledge reads as 0, see FuelGauge. Observers are called on the
 * service's thread; an exception of theirs ends the process.
 */
class VANTOREL_EXPORT FuelGaugeService final : public ConnectionObserver, public Service {
public:
    /**
     * @param polled borrowed for the life of the service
     * @param pause between two passes
     */
    FuelGaugeService(FuelGauge& polled, std::chrono::milliseconds pause);
    /** Stops polling first. */
    ~FuelGaugeService() override;

    /** Adds an observer; to be finished before the first connection state is announced. */
    void AddObserver(FuelGaugeObserver& observer) { observers.Add(observer); }

    void OnConnectionStateChanged(ConnectionState newState,
                                  ConnectionState oldState) noexcept override;
    void OnConnectionError(Error& error) override;

    /** One pass: level, current, voltage, temperature, each on its own. */
    void ServiceFunction() override;

private:
    void ApplyPendingUpdate();
    void ResetGauge();
    template <typename Reading, typename Value>
    void Query(Reading (FuelGauge::*read)(), void (FuelGaugeObserver::*tell)(FuelGauge&, Value));

    FuelGauge& gauge;
    ObserverList<FuelGaugeObserver> observers;
};

} // namespace vantorel
