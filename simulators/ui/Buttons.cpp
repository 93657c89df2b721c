// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "Buttons.h"

#include <VantorelUI.h>
#include <VantorelUI_sim.h>

namespace vantorelui {

namespace {

constexpr std::int64_t longPress = 1500;     ///< held at least so long: power off
constexpr std::int64_t longestClick = 1000;  ///< held less: a click
constexpr std::int64_t doubleClickGap = 400; ///< between the end of a click and the next press

} // namespace

bool ClickDetector::Down(std::int64_t now) {
    if (downAt_) {
        return false;
    }
    downAt_ = now;
    continues_ = clickedAt_ && now - *clickedAt_ <= doubleClickGap;
    clickedAt_.reset();
    return true;
}

std::optional<ClickDetector::Release> ClickDetector::Up(std::int64_t now) {
    if (!downAt_) {
        return std::nullopt;
    }
    Release release;
    release.click = now - *downAt_ < longestClick;
    release.doubleClick = release.click && continues_;
    // A third click starts a new sequence.
    if (release.click && !release.doubleClick) {
        clickedAt_ = now;
    }
    downAt_.reset();
    return release;
}

std::optional<std::int64_t> ClickDetector::Held(std::int64_t now) const {
    return downAt_ ? std::optional(now - *downAt_) : std::nullopt;
}

Buttons::Buttons(const Clock& clock, SharedState& state, EventTable& events)
    : clock_(clock), state_(state), events_(events), timer_(clock, [this] {
          if (TakeLongPress()) {
              events_.Raise(VANTORELUI_EVENT_POWER_OFF);
          }
      }) {}

void Buttons::PowerDown() {
    const std::lock_guard lock(mutex_);
    const std::int64_t now = clock_.Now();
    if (power_.Down(now)) {
        powerOffRaised_ = false;
        timer_.Arm(now + longPress);
    }
}

void Buttons::PowerUp() {
    // On a busy device the release may come before the timer; the press was long all the same.
    const bool wasLong = TakeLongPress();
    std::optional<ClickDetector::Release> release;
    {
        const std::lock_guard lock(mutex_);
        timer_.Disarm();
        release = power_.Up(clock_.Now());
    }
    if (wasLong) {
        events_.Raise(VANTORELUI_EVENT_POWER_OFF);
    } else if (release && release->doubleClick) {
        events_.Raise(VANTORELUI_SIM_EVENT_POWER_DOUBLE_CLICK);
    }
}

/** True once for a press of the power button that has become long. */
bool Buttons::TakeLongPress() {
    const std::lock_guard lock(mutex_);
    const auto held = power_.Held(clock_.Now());
    if (!held || *held < longPress || powerOffRaised_) {
        return false;
    }
    powerOffRaised_ = true;
    return true;
}

void Buttons::TorchDown() {
    const std::lock_guard lock(mutex_);
    torch_.Down(clock_.Now());
}

void Buttons::TorchUp() {
    std::optional<ClickDetector::Release> release;
    {
        const std::lock_guard lock(mutex_);
        release = torch_.Up(clock_.Now());
    }
    if (!release || !release->click) {
        return;
    }
    // The torch switches at every click, so that a double click leaves it as it was.
    const bool lit = state_.Modify([](UiState& state) { return state.torchLit = !state.torchLit; });
    events_.Raise(lit ? VANTORELUI_EVENT_TORCH_ON : VANTORELUI_EVENT_TORCH_OFF);
    if (release->doubleClick) {
        events_.Raise(VANTORELUI_SIM_EVENT_TORCH_DOUBLE_CLICK);
    }
}

void Buttons::PinholeDown() {
    const std::lock_guard lock(mutex_);
    pinhole_.Down(clock_.Now());
}

void Buttons::PinholeUp() {
    {
        const std::lock_guard lock(mutex_);
        if (!pinhole_.Up(clock_.Now())) {
            return;
        }
    }
    state_.Modify([](UiState& state) { state.fahrenheit = !state.fahrenheit; });
    events_.Raise(VANTORELUI_EVENT_UNITS_CHANGED);
}

void Buttons::Reset() {
    const std::lock_guard lock(mutex_);
    timer_.Disarm();
    power_ = {};
    torch_ = {};
    pinhole_ = {};
    powerOffRaised_ = false;
}

} // namespace vantorelui
