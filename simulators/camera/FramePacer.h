// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <chrono>
#include <cstdint>

namespace kirosim {

/** Deadlines at a constant rate. Each is computed from the start, so errors do not add up. */
class FramePacer {
public:
    using Clock = std::chrono::steady_clock;

    /** The first deadline is one period after `now`; the rate is not 0. */
    void Start(Clock::time_point now, int hertz) {
        start = now;
        rate = hertz;
        count = 1;
    }

    Clock::time_point Deadline() const {
        return start + std::chrono::nanoseconds(1'000'000'000LL * count / rate);
    }

    /** Advances to the first deadline after `now`: missed frames are skipped. */
    void Advance(Clock::time_point now) {
        ++count;
        if (Deadline() <= now) {
            count = (now - start) / std::chrono::nanoseconds(1) * rate / 1'000'000'000LL + 1;
        }
    }

private:
    Clock::time_point start;
    int rate = 1;
    std::int64_t count = 1;
};

} // namespace kirosim
