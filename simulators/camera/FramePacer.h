// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <chrono>
#include <cstdint>

namespace kirosim {

/** Deadlines at an even rate, each computed from the start, so that errors do not add up. */
class FramePacer {
public:
    using Clock = std::chrono::steady_clock;

    /** The first deadline is one period after `now`; the rate is not 0. */
    void Start(Clock::time_point now, int rate) {
        start_ = now;
        rate_ = rate;
        count_ = 1;
    }

    Clock::time_point Deadline() const {
        return start_ + std::chrono::nanoseconds(1'000'000'000LL * count_ / rate_);
    }

    /** Advances to the first deadline after `now`: missed frames are skipped. */
    void Advance(Clock::time_point now) {
        ++count_;
        if (Deadline() <= now) {
            count_ = (now - start_) / std::chrono::nanoseconds(1) * rate_ / 1'000'000'000LL + 1;
        }
    }

private:
    Clock::time_point start_;
    int rate_ = 1;
    std::int64_t count_ = 1;
};

} // namespace kirosim
