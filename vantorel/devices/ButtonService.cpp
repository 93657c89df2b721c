// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/devices/ButtonService.h"

#include "vantorel/devices/Button.h"
#include "vantorel/devices/private/WaitForInput.h"

namespace vantorel {

ButtonService::ButtonService(Button& watched)
    : Service(std::chrono::milliseconds::zero()), button(watched) {}

ButtonService::~ButtonService() {
    TerminateIfJoinable();
}

void ButtonService::ServiceFunction() {
    InputEventRecord event;
    try {
        event = button.WaitForEvent();
    } catch (Error& error) {
        if (!IsEndOfWait(error)) {
            observers.Notify(&ButtonObserver::OnButtonError, button, error);
        }
        return;
    }
    if (event.value == 0) {
        observers.Notify(&ButtonObserver::OnButtonUp, button);
    } else if (event.value == 1) {
        observers.Notify(&ButtonObserver::OnButtonDown, button);
    }
}

} // namespace vantorel
