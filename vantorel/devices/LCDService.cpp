// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/devices/LCDService.h"

#include "vantorel/devices/LCD.h"
#include "vantorel/devices/private/WaitForInput.h"
#include "vantorel/service/Error.h"

#include <cerrno>
#include <chrono>
#include <optional>

namespace vantorel {
namespace {

/** Many refreshes: a driver that has sent no event by then has lost it. */
constexpr std::chrono::milliseconds eventLimit{1000};
constexpr std::chrono::milliseconds busyLimit{100};

/** Flips and waits for the flip. Returns the error that observers have to receive. */
std::optional<Error> Flip(LCD& lcd) {
    try {
        lcd.SwapBuffers();
        if (!lcd.WaitForVSYNC(eventLimit)) {
            return Error(ETIME); // a wait that ends early (ETIMEDOUT) is not reported
        }
    } catch (const Error& error) {
        if (!IsEndOfWait(error)) {
            return error;
        }
    }
    return std::nullopt;
}

/**
 * Takes the event of a flip whose own wait has ended without it, by a signal or the limit. While
 * that flip is pending, the driver refuses every other one. Were its event left, each later wait
 * would return with the event of the flip before, and each later flip come too early.
 */
void TakeOverdueEvent(LCD& lcd) {
    try {
        static_cast<void>(lcd.WaitForVSYNC(busyLimit));
    } catch (const Error&) {
        // The next flip reports what is wrong with the card.
    }
}

} // namespace

LCDService::LCDService(LCD& display) : Service(std::chrono::milliseconds::zero()), lcd(display) {}

LCDService::~LCDService() {
    TerminateIfJoinable();
}

void LCDService::ServiceFunction() {
    observers.Notify(&LCDObserver::OnLCDDraw, lcd, lcd.BackBuffer());
    if (std::optional<Error> error = Flip(lcd)) {
        const bool isPending = error->Value() == EBUSY;
        observers.Notify(&LCDObserver::OnLCDError, lcd, *error);
        if (isPending) {
            TakeOverdueEvent(lcd);
        }
    }
}

} // namespace vantorel
