// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/LCDObserver.h"
#include "vantorel/service/ObserverList.h"
#include "vantorel/service/Service.h"

namespace vantorel {

class LCD;

/**
 * The render loop: lets its observers draw, flips and waits for the flip, once per display refresh,
 * on the service's thread. There is no pause between cycles.
 *
 * A driver may lose the event that ends a flip. The service waits a second for it, reports ETIME,
 * then draws and flips again. So the display recovers with the driver's next event, and Stop()
 * always returns. While the driver refuses flips with EBUSY, a cycle takes up to 100 ms. After any
 * other error the next cycle starts at once: a card that is gone keeps a processor busy.
 * Thread-bound.
 */
class VANTOREL_EXPORT LCDService final : public Service {
public:
    /** Borrows the display for the life of the service. */
    explicit LCDService(LCD& display);
    ~LCDService() override;

    /** Adds an observer. Call it before Start(). */
    void AddObserver(LCDObserver& observer) { observers.Add(observer); }

    /**
     * Shows one frame. Reports a refused flip, and a flip whose event does not come within a
     * second (ETIME), but not an interrupted wait.
     */
    void ServiceFunction() override;

private:
    LCD& lcd;
    ObserverList<LCDObserver> observers;
};

} // namespace vantorel
