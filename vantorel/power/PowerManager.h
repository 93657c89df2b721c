#pragma once

#include "vantorel/service/ConnectionObserver.h"
#include "vantorel/service/UserInterfaceObserver.h"

namespace vantorel {

/**
 * Turns the device off when the user asks for it: writes all file systems back and powers the
 * machine off through the kernel. The process needs the capability to reboot (CAP_SYS_BOOT);
 * without it a request ends silently after the write-back.
 *
 * Runs on the caller's thread, and does not return when it succeeds.
 */
class VANTOREL_EXPORT PowerManager final : public ConnectionObserver, public UserInterfaceObserver {
public:
    PowerManager();
    ~PowerManager() override;

    void OnConnectionStateChanged(ConnectionState newState, ConnectionState oldState) override;
    void OnConnectionError(Error& error) override;

    /** sync(), then reboot(RB_POWER_OFF). */
    void OnUserInterfacePowerOffRequest() override;
    void OnUserInterfaceTorchOnRequest() override;
    void OnUserInterfaceTorchOffRequest() override;
    void OnUserInterfacePowerButtonDoubleClick() override;
    void OnUserInterfaceTorchButtonDoubleClick() override;
};

} // namespace vantorel
