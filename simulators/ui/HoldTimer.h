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
 * Reports on a thread of its own that a time has come.
 *
 * A held button must be reported even while the application does not call the library. Its handler
 * may shut the system down, for which Render() could not wait, since the application may hold a
 * lock around it. The thread starts with the first Arm(). It is never joined, since a handler that
 * switches the device off may not return.
 */
class HoldTimer {
public:
    HoldTimer(const Clock& source, std::function<void()> action);

    void Arm(std::int64_t at);
    void Disarm();
    /** Reads the clock again and returns when everything due has been reported. */
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
