// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <atomic>
#include <cstdint>

namespace vantorelui {

/** Milliseconds of a monotonic clock, or of one that a test advances. */
class Clock {
public:
    std::int64_t Now() const;
    bool IsManual() const { return manual; }
    /** Sets the clock to 0 and stops it; only Advance() moves it then. */
    void MakeManual();
    void MakeReal() { manual = false; }
    void Advance(std::int64_t milliseconds) { time += milliseconds; }

private:
    std::atomic<bool> manual = false;
    std::atomic<std::int64_t> time = 0;
};

} // namespace vantorelui
