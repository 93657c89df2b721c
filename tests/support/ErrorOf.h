// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/Error.h"

namespace vantorel::test {

/** Returns the value of the Error that an action throws, or 0 if it throws none. */
template <typename Action>
int ErrorOf(Action action) {
    try {
        action();
    } catch (const Error& error) {
        return error.Value();
    }
    return 0;
}

} // namespace vantorel::test
