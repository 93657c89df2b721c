// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
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
 * Determines how the device is powered and connected, at start-up and then continuously, and
 * announces each change of ConnectionState. The rest of the system depends on these states.
 *
 * From Undetermined the first poll decides: battery without charger gives Battery, both give
 * BatteryCharger, charger alone gives NoBattery. With neither, the device must be powered through
 * its USB port: the manager binds the gadgets and waits up to two seconds for a host, which gives
 * Host or NoHost. Later, Battery and BatteryCharger follow the charger, and losing both while
 * charging gives NoBattery. NoHost, Host and NoBattery are final: a battery inserted later changes
 * nothing.
 *
 * The manager passes an Error of a poll or of an observer to every observer's OnConnectionError(),
 * keeps the state and tries again at the next poll. Any other exception ends the process.
 *
 * Thread-bound. Observers run on the service's thread. Binding waits for a camera without a limit,
 * and so does a Stop() meanwhile.
 */
class VANTOREL_EXPORT ConnectionManager final : public Service {
public:
    /**
     * Borrows all three for the life of the manager.
     * @param powerSource the charger, or another source that reports external power
     * @param gauge reports whether a battery is present
     * @param port the port to bind and to check for a host
     * @param pause between two polls
     */
    ConnectionManager(Connection& powerSource, FuelGauge& gauge, USB& port,
                      std::chrono::milliseconds pause);
    ~ConnectionManager() override;

    /** Adds an observer. Call it before Start(). */
    void AddObserver(ConnectionObserver& observer) { observers.Add(observer); }

    /**
     * Prints and announces a state, then records it. When an observer throws, the state is not
     * recorded: the next poll decides again and, if nothing has changed, announces it again to all
     * observers.
     *
     * An observer may call it from a state notification. Each observer then receives both
     * transitions, each with the state still recorded as the old one, and the outer one is recorded
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
    bool bound = false; // the port can be bound once; a repeated wait for a host must not rebind it
};

} // namespace vantorel
