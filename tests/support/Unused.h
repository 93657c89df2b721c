#pragma once

namespace vantorel::test {

/**
 * A reference for parameters that the callee never looks at: which object reports a value is part
 * of every notification, and often of no interest.
 */
template <typename T>
T& Unused() {
    alignas(16) static char nothing[16];
    return *static_cast<T*>(static_cast<void*>(nothing));
}

} // namespace vantorel::test
