// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/Mutex.h"

#include <memory>
#include <utility>

namespace vantorel {

/**
 * A slot for one shared object that threads exchange: a reader keeps the object that it loaded
 * alive, whatever a writer stores meanwhile. Thread-safe.
 *
 * The lock covers the exchange of the pointer only, never the use or destruction of an object. (The
 * standard library's atomic shared pointer is not used: GCC 12 releases it on load without ordering
 * memory, which is unsafe on ARM processors.)
 */
template <typename T>
class SharedSlot {
public:
    /** The object stored last; null before the first Store(). */
    std::shared_ptr<T> Load() const {
        const Lock lock(mutex);
        return object;
    }

    /** Replaces the object. */
    void Store(std::shared_ptr<T> replacement) {
        {
            const Lock lock(mutex);
            object.swap(replacement);
        }
        // The old object is destroyed here, after the lock is released.
    }

private:
    mutable Mutex mutex;
    std::shared_ptr<T> object VANTOREL_GUARDED_BY(mutex);
};

} // namespace vantorel
