#pragma once

#include "vantorel/service/ConnectionObserver.h"
#include "vantorel/service/ObserverList.h"
#include "vantorel/service/Service.h"

#include <chrono>

namespace vantorel {

class Connection;
class FuelGauge;
class USB;

/**
 * Decides how the device is powered and connected, once at start-up and then continuously, and
 * announces each change of ConnectionState. The rest of the system keys its behaviour on these.
 *
 * From Undetermined the first poll chooses: battery without charger gives Battery, both give
 * BatteryCharger, charger alone gives NoBattery. With neither, the device must be powered through
 * its USB port: the manager binds the gadgets and waits up to two seconds for a host, for Host or
 * NoHost. Later, Battery and BatteryCharger follow the charger, and losing both while charging
 * gives NoBattery. NoHost, Host and NoBattery are final: a battery inserted later changes nothing.
 *
 * Errors of a poll, also those that an observer throws, go to every observer's OnConnectionError();
 * the state stays and the next poll tries again. Any other exception ends the process.
 *
 * Observers are told on the service's thread. Binding waits for a camera without a limit, and so
 * does a Stop() meanwhile.
 */
class VANTOREL_EXPORT ConnectionManager final : public Service {
public:
    /**
     * Borrows all three for the life of the manager.
     * @param powerSource the charger, or anything else that tells whether external power is there
     * @param gauge tells whether a battery is present
     * @param port is bound and asked for a host
     * @param pause between two polls
     */
    ConnectionManager(Connection& powerSource, FuelGauge& gauge, USB& port,
                      std::chrono::milliseconds pause);
    ~ConnectionManager() override;

    /** Adds an observer; to be finished before Start(). */
    void AddObserver(ConnectionObserver& observer) { observers.Add(observer); }

    /**
     * Prints and announces a state, then records it. When an observer throws, the state is not
     * recorded, so the next poll announces it again, to observers already told, too.
     *
     * An observer may call it while it hears of a state. Each observer then hears both transitions,
     * each with the state that is still recorded as the old one, and the outer one is recorded
     * last.
     */
    void TransitionToState(ConnectionState newState);

    /** One poll. */
    void ServiceFunction() override;

private:
    void Poll();
    void FindHost();

    Connection& charger;
    FuelGauge& fuelGauge;
    USB& usb;
    ConnectionState state = ConnectionState::Undetermined;
    ObserverList<ConnectionObserver> observers;
    bool bound = false; // the port can be bound once; repeating the wait for a host must not do it
};

} // namespace vantorel
