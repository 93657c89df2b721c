// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/Error.h"

#include <cerrno>

namespace vantorel {

/** Returns the result of a system call; throws Error(errno) when it is negative. */
template <typename Result>
Result OrThrow(Result result) {
    if (result < 0) {
        throw Error(errno);
    }
    return result;
}

} // namespace vantorel
