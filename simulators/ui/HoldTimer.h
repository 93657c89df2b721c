// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "Clock.h"

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>

namespace vantorelui {

/**
 * Reports on its own thread that a deadline has passed.
 *
 * A held button must be reported even while the application does not call the library. Its handler
 * may shut the system down. Render() could not wait for that, since the application may hold a lock
 * around it. The first Arm() starts the thread. It is never joined, since a handler that switches
 * the device off may not return.
 */
class HoldTimer {
public:
    HoldTimer(const Clock& source, std::function<void()> action);

    void Arm(std::int64_t at);
    void Disarm();
    /** Reads the clock again and returns when all due deadlines have been reported. */
    void Settle();

private:
    void Start();
    [[noreturn]] void Run();
    bool IsDue() const { return deadline && clock.Now() >= *deadline; }

    const Clock& clock;
    const std::function<void()> expired;
    std::mutex mutex;
    std::condition_variable changed;
    std::optional<std::int64_t> deadline;
    bool started = false;
    bool reporting = false;
};

} // namespace vantorelui
