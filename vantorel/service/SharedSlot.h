#pragma once

#include <memory>
#include <mutex>
#include <utility>

namespace vantorel {

/**
 * A place for one shared object that threads exchange: whoever loads it keeps it alive for as long
 * as needed, whatever is stored meanwhile. Thread-safe.
 *
 * The lock is held for the exchange of the pointer only, never while an object is used or
 * destroyed. (The standard library's atomic shared pointer would do, but GCC 12 releases it on load
 * without ordering memory, which ARM processors punish.)
 */
template <typename T>
class SharedSlot {
public:
    /** The object stored last; null before the first. */
    std::shared_ptr<T> Load() const {
        const std::lock_guard lock(mutex);
        return object;
    }

    /** Puts another object in its place. */
    void Store(std::shared_ptr<T> replacement) {
        {
            const std::lock_guard lock(mutex);
            object.swap(replacement);
        }
        // The old object goes here, after the lock.
    }

private:
    mutable std::mutex mutex;
    std::shared_ptr<T> object;
};

} // namespace vantorel
