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
 * The torch LED, switched through its LED-class attribute "brightness". It obeys the user interface
 * and may light only while the device runs on its battery: in any other state it is switched off
 * and every later request is ignored, until the battery state returns.
 *
 * Switching throws Error with the errno of a failed write at the caller, before anybody is told;
 * OnTorchError() is never called. What becomes of it is the caller's: the connection manager
 * reports it to its observers and announces the state again. A user's request comes through
 * UserInterfaceManager, whose operations an exception does not leave, so there it ends the process;
 * the product's supervisor starts it anew, and the constructor reads what the LED shows.
 *
 * Called by the connection manager's thread and by the UI library's; observers are told on the
 * thread that switches. Thread-safe, but two threads that switch at once may leave the LED in the
 * state of either.
 */
class VANTOREL_EXPORT Torch final : public Device,
                                    public ConnectionObserver,
                                    public UserInterfaceObserver {
public:
    /**
     * Opens the attribute and learns whether the LED is lit.
     * @param deviceName the name, free to choose
     * @param directory the LED's directory with a slash at its end, since the name of the attribute
     *                  is appended to it as it is
     * @throws Error with the errno of a failed open or read
     */
    Torch(std::string deviceName, const std::string& directory);

    /** Lights the LED and reports OnTorchOn(), also when it is lit already. */
    void On();
    /** Puts the LED out and reports OnTorchOff(), also when it is dark already. */
    void Off();
    /** Switches to the other position. */
    void Toggle();

    /** Adds an observer; to be finished before requests come. */
    void AddObserver(TorchObserver& observer) { observers.Add(observer); }

    void OnConnectionStateChanged(ConnectionState newState, ConnectionState oldState) override;
    void OnConnectionError(Error& error) override;

    /** Toggles, as the off request does. Kept: a UI library need not know what is lit. */
    void OnUserInterfaceTorchOnRequest() override;
    /** Toggles, as the on request does. */
    void OnUserInterfaceTorchOffRequest() override;
    void OnUserInterfacePowerOffRequest() override;
    void OnUserInterfacePowerButtonDoubleClick() override;
    void OnUserInterfaceTorchButtonDoubleClick() override;

private:
    void Switch(char position);
    void Report(char position);

    std::atomic<char> brightness{0}; // the first character of the attribute
    std::atomic<bool> disabled{false};
    ObserverList<TorchObserver> observers;
};

} // namespace vantorel
