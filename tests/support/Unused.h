// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

namespace vantorel::test {

/**
 * A reference for parameters that the callee ignores: every notification passes the object that
 * reports the value.
 */
template <typename T>
T& Unused() {
    alignas(16) static char nothing[16];
    return *static_cast<T*>(static_cast<void*>(nothing));
}

} // namespace vantorel::test
