// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

namespace vantorel::test {

/**
 * A reference for a parameter that the callee ignores, such as the subject that every notification
 * passes.
 */
template <typename T>
T& Unused() {
    alignas(16) static char nothing[16];
    return *static_cast<T*>(static_cast<void*>(nothing));
}

} // namespace vantorel::test
