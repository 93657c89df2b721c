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

/** Many refreshes long: a driver that has sent no event by then has lost it. */
constexpr std::chrono::milliseconds eventLimit{1000};
constexpr std::chrono::milliseconds busyLimit{100};

/** Flips and waits for the flip. Returns the error to report to the observers, if any. */
std::optional<Error> Flip(LCD& lcd) {
    try {
        lcd.SwapBuffers();
        if (!lcd.WaitForVSYNC(eventLimit)) {
            return Error(ETIME); // the errors of a wait that ends early are not reported
        }
    } catch (const Error& error) {
        if (!IsEndOfWait(error)) {
            return error;
        }
    }
    return std::nullopt;
}

/**
 * Reads the event of a flip whose wait ended without it, because of a signal or the time limit.
 * The driver refuses other flips while that flip is pending. If its event stayed unread, each
 * later wait would return with the event of the previous flip, and each later flip would come too
 * early.
 */
void TakeOverdueEvent(LCD& lcd) {
    try {
        static_cast<void>(lcd.WaitForVSYNC(busyLimit));
    } catch (const Error&) {
        // If the card has failed, the next flip reports it.
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
