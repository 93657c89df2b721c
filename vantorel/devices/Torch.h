// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/devices/Device.h"
#include "vantorel/service/ConnectionObserver.h"
#include "vantorel/service/ObserverList.h"
#include "vantorel/service/TorchObserver.h"
#include "vantorel/service/UserInterfaceObserver.h"

#include <atomic>
#include <string>

namespace vantorel {

/**
 * The torch LED, switched through its LED-class attribute "brightness". It follows the user
 * interface. A state with a charger, with a host or without a battery switches it off and disables
 * it until the Battery state returns. It is enabled before the first state.
 *
 * When the write fails, switching throws Error with its errno to the caller and notifies no
 * observer; OnTorchError() is never called. The connection manager reports the error to its
 * observers and, if the state is the same at the next poll, announces it again. A user's request
 * comes through UserInterfaceManager, whose operations are noexcept, so the error ends the process
 * there; the product's supervisor restarts it, and the constructor reads the LED's state.
 *
 * The connection manager's thread and the threads on which the UI library raises its events (a
 * button's, the display's) call it. Observers run on the thread that switches, without a lock.
 * When the torch is switched again while they are notified, by another thread or by one of them,
 * they are notified once more of the new position, even if its write failed: each observer's last
 * report is the position that was requested last. Thread-safe: two threads that switch at once may
 * leave the LED on or off, but in a state that disables it, it is dark.
 */
class VANTOREL_EXPORT Torch final : public Device,
                                    public ConnectionObserver,
                                    public UserInterfaceObserver {
public:
    /**
     * Opens the attribute and reads whether the LED is lit. The LED's "max_brightness" must be 1:
     * the torch writes 0 or 1, and Toggle() has no effect while the attribute begins with another
     * digit.
     * @param deviceName any name
     * @param directory the LED's directory, ending in a slash: the name of the attribute is
     *                  appended to it
     * @throws Error with the errno of a failed open or read
     */
    Torch(std::string deviceName, const std::string& directory);

    /** Unless disabled, lights the LED and reports OnTorchOn(), even when it is already lit. */
    void On();
    /** Unless disabled, switches off the LED and reports OnTorchOff(), even when it is dark. */
    void Off();
    /** Switches the LED off when it is lit, and on when it is off. */
    void Toggle();

    /** Adds an observer. Call it before requests arrive. */
    void AddObserver(TorchObserver& observer) { observers.Add(observer); }

    void OnConnectionStateChanged(ConnectionState newState, ConnectionState oldState) override;
    void OnConnectionError(Error& error) override;

    /** Toggles, as the off request does. Kept: a UI library need not know the LED's state. */
    void OnUserInterfaceTorchOnRequest() override;
    /** Toggles, as the on request does. */
    void OnUserInterfaceTorchOffRequest() override;
    void OnUserInterfacePowerOffRequest() override;
    void OnUserInterfacePowerButtonDoubleClick() override;
    void OnUserInterfaceTorchButtonDoubleClick() override;

private:
    void Switch(char position);
    void Disable();
    void Write(char position);
    void Report(char position);

    std::atomic<char> brightness{0}; // the first character of the attribute
    std::atomic<bool> disabled{false};
    ObserverList<TorchObserver> observers;
};

} // namespace vantorel
