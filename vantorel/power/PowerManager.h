// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/ConnectionObserver.h"
#include "vantorel/service/UserInterfaceObserver.h"

namespace vantorel {

/**
 * Turns off the device at the user's request: writes back all file systems and powers off the
 * machine through the kernel. The process needs the capability to reboot (CAP_SYS_BOOT); without it
 * a request does nothing after the write-back and reports no error.
 *
 * Thread-safe. A request runs on the caller's thread and does not return when it succeeds.
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
