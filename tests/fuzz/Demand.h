// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <cstdlib>

namespace vantorel::test {

/** Ends the process, so that the fuzzer keeps the input, unless the condition holds. */
inline void Demand(bool condition) {
    if (!condition) {
        std::abort();
    }
}

} // namespace vantorel::test
