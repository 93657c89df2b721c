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
 * A button that is being held must be noticed even while nobody calls the library, and its handler
 * may shut the system down, which Render() - called under the lock of the display's thread - could
 * not wait for. The thread starts with the first Arm(); it is never joined, because a handler that
 * powers the device off does not come back.
 */
class HoldTimer {
public:
    HoldTimer(const Clock& clock, std::function<void()> expired);

    void Arm(std::int64_t deadline);
    void Disarm();
    /** Looks at the clock again and returns when everything due has been reported. */
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
