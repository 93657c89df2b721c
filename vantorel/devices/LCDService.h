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
 * Stop() returns after the pending flip. A flip whose event never comes (see LCD::WaitForVSYNC())
 * blocks the thread, and Stop(), forever: the display keeps its last picture, everything else
 * continues, and no observer is notified. Thread-bound.
 */
class VANTOREL_EXPORT LCDService final : public Service {
public:
    /** Borrows the display for the life of the service. */
    explicit LCDService(LCD& display);
    ~LCDService() override;

    /** Adds an observer. Call it before Start(). */
    void AddObserver(LCDObserver& observer) { observers.Add(observer); }

    /** Shows one frame. Does not report an interrupted wait. */
    void ServiceFunction() override;

private:
    LCD& lcd;
    ObserverList<LCDObserver> observers;
};

} // namespace vantorel
