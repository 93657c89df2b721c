// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/ButtonObserver.h"
#include "vantorel/service/ObserverList.h"
#include "vantorel/service/Service.h"

namespace vantorel {

class Button;

/**
 * Waits for one button and reports presses and releases, on the service's thread.
 *
 * Stop() returns only after one more event of the button, which may never come; let the service run
 * until the process ends. Thread-bound.
 */
class VANTOREL_EXPORT ButtonService final : public Service {
public:
    /** Borrows the button for the life of the service. */
    explicit ButtonService(Button& watched);
    ~ButtonService() override;

    /** Adds an observer. Call it before Start(). */
    void AddObserver(ButtonObserver& observer) { observers.Add(observer); }

    /** Waits for one event and reports it; does not report auto-repeat and interrupted waits. */
    void ServiceFunction() override;

private:
    Button& button;
    ObserverList<ButtonObserver> observers;
};

} // namespace vantorel
