// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "Buttons.h"

#include <VantorelUI.h>
#include <VantorelUI_sim.h>

namespace vantorelui {

namespace {

constexpr std::int64_t longPress = 1500;     ///< held at least this long: power off
constexpr std::int64_t longestClick = 1000;  ///< held less than this: a click
constexpr std::int64_t doubleClickGap = 400; ///< between the end of a click and the next press

} // namespace

bool ClickDetector::Down(std::int64_t now) {
    if (downAt) {
        return false;
    }
    downAt = now;
    continues = clickedAt && now - *clickedAt <= doubleClickGap;
    clickedAt.reset();
    return true;
}

std::optional<ClickDetector::Release> ClickDetector::Up(std::int64_t now) {
    if (!downAt) {
        return std::nullopt;
    }
    Release release;
    release.click = now - *downAt < longestClick;
    release.doubleClick = release.click && continues;
    // A third click starts a new sequence.
    if (release.click && !release.doubleClick) {
        clickedAt = now;
    }
    downAt.reset();
    return release;
}

std::optional<std::int64_t> ClickDetector::Held(std::int64_t now) const {
    return downAt ? std::optional(now - *downAt) : std::nullopt;
}

Buttons::Buttons(const Clock& source, SharedState& shared, EventTable& table)
    : clock(source), state(shared), events(table), timer(source, [this] {
          if (TakeLongPress()) {
              events.Raise(VANTORELUI_EVENT_POWER_OFF);
          }
      }) {}

void Buttons::PowerDown() {
    const std::lock_guard lock(mutex);
    const std::int64_t now = clock.Now();
    if (power.Down(now)) {
        powerOffRaised = false;
        timer.Arm(now + longPress);
    }
}

void Buttons::PowerUp() {
    // On a busy device the release may arrive before the timer expires; it is still a long press.
    const bool wasLong = TakeLongPress();
    std::optional<ClickDetector::Release> release;
    {
        const std::lock_guard lock(mutex);
        timer.Disarm();
        release = power.Up(clock.Now());
    }
    if (wasLong) {
        events.Raise(VANTORELUI_EVENT_POWER_OFF);
    } else if (release && release->doubleClick) {
        events.Raise(VANTORELUI_SIM_EVENT_POWER_DOUBLE_CLICK);
    }
}

/** Returns true once per long press of the power button. */
bool Buttons::TakeLongPress() {
    const std::lock_guard lock(mutex);
    const auto held = power.Held(clock.Now());
    if (!held || *held < longPress || powerOffRaised) {
        return false;
    }
    powerOffRaised = true;
    return true;
}

void Buttons::TorchDown() {
    const std::lock_guard lock(mutex);
    torch.Down(clock.Now());
}

void Buttons::TorchUp() {
    std::optional<ClickDetector::Release> release;
    {
        const std::lock_guard lock(mutex);
        release = torch.Up(clock.Now());
    }
    if (!release || !release->click) {
        return;
    }
    // The torch switches at every click, so that a double click leaves it as it was.
    const bool lit = state.Modify([](UiState& ui) { return ui.torchLit = !ui.torchLit; });
    events.Raise(lit ? VANTORELUI_EVENT_TORCH_ON : VANTORELUI_EVENT_TORCH_OFF);
    if (release->doubleClick) {
        events.Raise(VANTORELUI_SIM_EVENT_TORCH_DOUBLE_CLICK);
    }
}

void Buttons::PinholeDown() {
    const std::lock_guard lock(mutex);
    pinhole.Down(clock.Now());
}

void Buttons::PinholeUp() {
    {
        const std::lock_guard lock(mutex);
        if (!pinhole.Up(clock.Now())) {
            return;
        }
    }
    state.Modify([](UiState& ui) { ui.fahrenheit = !ui.fahrenheit; });
    events.Raise(VANTORELUI_EVENT_UNITS_CHANGED);
}

void Buttons::Reset() {
    const std::lock_guard lock(mutex);
    timer.Disarm();
    power = {};
    torch = {};
    pinhole = {};
    powerOffRaised = false;
}

} // namespace vantorelui
