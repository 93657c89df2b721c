// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/service/private/Sleep.h"

#include "vantorel/service/private/Sys.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <limits>

namespace vantorel {

void SleepFor(std::chrono::milliseconds duration) {
    if (duration.count() <= 0) {
        return;
    }
    const auto seconds = std::min<std::chrono::milliseconds::rep>(
        duration.count() / 1000, std::numeric_limits<time_t>::max());
    timespec remaining{};
    remaining.tv_sec = static_cast<time_t>(seconds);
    remaining.tv_nsec = static_cast<long>(duration.count() % 1000) * 1'000'000L;
    // Only EINTR updates the remaining time; a retry after any other failure would repeat forever.
    while (sys::Nanosleep(&remaining, &remaining) == -1 && errno == EINTR) {
    }
}

} // namespace vantorel
