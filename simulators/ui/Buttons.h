// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "Clock.h"
#include "Events.h"
#include "HoldTimer.h"
#include "UiState.h"

#include <cstdint>
#include <mutex>
#include <optional>

namespace vantorelui {

/** Clicks and double clicks of one button. */
class ClickDetector {
public:
    struct Release {
        bool click = false;
        bool doubleClick = false; ///< the click was the second of two
    };

    /** Returns false when the button was already down: input devices repeat a held key. */
    bool Down(std::int64_t now);
    /** Returns nothing when the button was not down. */
    std::optional<Release> Up(std::int64_t now);
    /** How long the button has been down; nothing when it is not. */
    std::optional<std::int64_t> Held(std::int64_t now) const;

private:
    std::optional<std::int64_t> downAt;
    std::optional<std::int64_t> clickedAt; ///< end of a click that may become a double click
    bool continues = false;                ///< the current press follows a click within the gap
};

/**
 * Converts button presses to the user's requests. No lock is held while an event is raised, so a
 * handler may call the library.
 */
class Buttons {
public:
    Buttons(const Clock& source, SharedState& shared, EventTable& table);

    void PowerDown();
    void PowerUp();
    void TorchDown();
    void TorchUp();
    void PinholeDown();
    void PinholeUp();

    /** Reads the advanced clock; returns when the handlers of all due events have returned. */
    void Settle() { timer.Settle(); }
    void Reset();

private:
    bool TakeLongPress();

    const Clock& clock;
    SharedState& state;
    EventTable& events;
    std::mutex mutex;
    ClickDetector power;
    ClickDetector torch;
    ClickDetector pinhole;
    bool powerOffRaised = false; ///< for the current press
    HoldTimer timer;
};

} // namespace vantorelui
