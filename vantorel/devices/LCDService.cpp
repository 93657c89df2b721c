#include "vantorel/devices/LCDService.h"

#include "vantorel/devices/LCD.h"
#include "vantorel/devices/private/WaitForInput.h"

namespace vantorel {

LCDService::LCDService(LCD& display) : Service(std::chrono::milliseconds::zero()), lcd(display) {}

LCDService::~LCDService() {
    TerminateIfJoinable();
}

void LCDService::ServiceFunction() {
    // Outside the try block: an error of drawing belongs to the observer, not to the display.
    observers.Notify(&LCDObserver::OnLCDDraw, lcd, lcd.BackBuffer());
    try {
        lcd.SwapBuffers();
        lcd.WaitForVSYNC();
    } catch (Error& error) {
        if (!IsEndOfWait(error)) {
            observers.Notify(&LCDObserver::OnLCDError, lcd, error);
        }
    }
}

} // namespace vantorel
