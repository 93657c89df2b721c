// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/power/PowerManager.h"

#include "vantorel/service/private/Sys.h"

#include <sys/reboot.h>

namespace vantorel {

PowerManager::PowerManager() = default;
PowerManager::~PowerManager() = default;

void PowerManager::OnUserInterfacePowerOffRequest() {
    sys::Sync();
    static_cast<void>(sys::Reboot(RB_POWER_OFF));
}

// Nothing to do for the other notifications.
void PowerManager::OnConnectionStateChanged(ConnectionState, ConnectionState) {}
void PowerManager::OnConnectionError(Error&) {}
void PowerManager::OnUserInterfaceTorchOnRequest() {}
void PowerManager::OnUserInterfaceTorchOffRequest() {}
void PowerManager::OnUserInterfacePowerButtonDoubleClick() {}
void PowerManager::OnUserInterfaceTorchButtonDoubleClick() {}

} // namespace vantorel
