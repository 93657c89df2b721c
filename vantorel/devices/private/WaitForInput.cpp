// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/devices/private/WaitForInput.h"

#include "vantorel/service/Error.h"
#include "vantorel/service/UniqueFd.h"
#include "vantorel/service/private/OrThrow.h"
#include "vantorel/service/private/Sys.h"

#include <algorithm>
#include <cerrno>
#include <limits>

namespace vantorel {

short WaitForInput(const UniqueFd& fd) {
    pollfd waiting{fd.Get(), POLLIN, 0};
    if (OrThrow(sys::Poll(&waiting, 1, -1)) == 0) {
        throw Error(ETIMEDOUT);
    }
    return waiting.revents;
}

bool WaitForInput(const UniqueFd& fd, std::chrono::milliseconds limit) {
    pollfd waiting{fd.Get(), POLLIN, 0};
    // A longer limit would wrap, and a negative one would wait forever.
    const auto timeout = std::clamp<std::chrono::milliseconds::rep>(
        limit.count(), 0, std::numeric_limits<int>::max());
    return OrThrow(sys::Poll(&waiting, 1, static_cast<int>(timeout))) != 0;
}

bool IsEndOfWait(const Error& error) {
    return error.Value() == EINTR || error.Value() == ETIMEDOUT;
}

} // namespace vantorel
