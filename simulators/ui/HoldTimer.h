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
    HoldTimer(const Clock& clock, std::function<void()> expired);

    void Arm(std::int64_t deadline);
    void Disarm();
    /** Reads the clock again and returns when everything due has been reported. */
    void Settle();

private:
    void Start();
    [[noreturn]] void Run();
    bool IsDue() const { return deadline_ && clock_.Now() >= *deadline_; }

    const Clock& clock_;
    const std::function<void()> expired_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::optional<std::int64_t> deadline_;
    bool started_ = false;
    bool reporting_ = false;
};

} // namespace vantorelui
