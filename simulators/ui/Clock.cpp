// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "Clock.h"

#include <chrono>

namespace vantorelui {

std::int64_t Clock::Now() const {
    if (manual) {
        return time;
    }
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

void Clock::MakeManual() {
    time = 0;
    manual = true;
}

} // namespace vantorelui
