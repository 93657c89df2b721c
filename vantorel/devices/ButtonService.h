#pragma once

#include "vantorel/service/ButtonObserver.h"
#include "vantorel/service/ObserverList.h"
#include "vantorel/service/Service.h"

namespace vantorel {

class Button;

/**
 * Waits for one button and tells when it goes down and up, on the service's thread.
 *
 * Stop() returns only after one more event of the button, which on a device at rest may never come;
 * leave the service to the end of the process.
 */
class VANTOREL_EXPORT ButtonService final : public Service {
public:
    /** Borrows the button for the life of the service. */
    explicit ButtonService(Button& watched);
    ~ButtonService() override;

    /** Adds an observer; to be finished before Start(). */
    void AddObserver(ButtonObserver& observer) { observers.Add(observer); }

    /** Waits for one event and reports it; auto-repeat and interrupted waits go unreported. */
    void ServiceFunction() override;

private:
    Button& button;
    ObserverList<ButtonObserver> observers;
};

} // namespace vantorel
