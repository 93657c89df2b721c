#pragma once

#include "vantorel/service/LCDObserver.h"
#include "vantorel/service/ObserverList.h"
#include "vantorel/service/Service.h"

namespace vantorel {

class LCD;

/**
 * The render loop: lets its observers draw, flips and waits for the flip, once a refresh of the
 * display, on the service's thread. Between two cycles there is no pause.
 *
 * Stop() returns after the flip that is under way. A flip whose event never comes (see
 * LCD::WaitForVSYNC()) keeps the thread, and Stop() with it, for ever: the display stays on the
 * last picture, everything else goes on, and no observer is told.
 */
class VANTOREL_EXPORT LCDService final : public Service {
public:
    /** Borrows the display for the life of the service. */
    explicit LCDService(LCD& display);
    ~LCDService() override;

    /** Adds an observer; to be finished before Start(). */
    void AddObserver(LCDObserver& observer) { observers.Add(observer); }

    /** One frame. An interrupted wait goes unreported. */
    void ServiceFunction() override;

private:
    LCD& lcd;
    ObserverList<LCDObserver> observers;
};

} // namespace vantorel
