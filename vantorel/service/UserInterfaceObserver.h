// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/Export.h"

namespace vantorel {

/**
 * Receives the user's requests, on the thread on which the UI library raises its event. The request
 * to power off that follows an unplugged charger comes on the connection manager's thread. An
 * observer must be thread-safe.
 *
 * The double clicks are reported only if the application registers
 * UserInterfaceManager::PowerButtonDoubleClick() and TorchButtonDoubleClick() with the UI library.
 */
class VANTOREL_EXPORT UserInterfaceObserver {
public:
    /** Turn the device off. */
    virtual void OnUserInterfacePowerOffRequest() = 0;
    /** Light the torch. */
    virtual void OnUserInterfaceTorchOnRequest() = 0;
    /** Switch off the torch. */
    virtual void OnUserInterfaceTorchOffRequest() = 0;
    /** The user double-clicked the power button. */
    virtual void OnUserInterfacePowerButtonDoubleClick() = 0;
    /** The user double-clicked the torch button. */
    virtual void OnUserInterfaceTorchButtonDoubleClick() = 0;
    virtual ~UserInterfaceObserver() = default;
};

} // namespace vantorel
