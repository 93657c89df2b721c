// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/Export.h"

namespace vantorel {

/**
 * Owner of one file descriptor. Move-only; a moved-from object owns nothing. Closing ignores the
 * result and keeps errno, so that the caller can still report an error after unwinding.
 *
 * Thread-bound, and as large as the int it owns.
 */
class VANTOREL_EXPORT UniqueFd {
public:
    UniqueFd() = default;
    /** Takes over a descriptor; -1 for none. */
    explicit UniqueFd(int descriptor) : fd(descriptor) {}
    /** Takes over the other's descriptor. */
    UniqueFd(UniqueFd&& other) noexcept : fd(other.Release()) {}
    /** Closes its own descriptor and takes over the other's. */
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        Reset(other.Release());
        return *this;
    }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;
    ~UniqueFd() { Reset(); }

    /** The descriptor, or -1 for none. This object still owns it. */
    int Get() const { return fd; }
    /** Whether a descriptor is owned. */
    explicit operator bool() const { return fd >= 0; }

    /** Releases the descriptor; the caller must close it. */
    [[nodiscard]] int Release() {
        const int released = fd;
        fd = -1;
        return released;
    }

    /** Closes the owned descriptor and takes over another. */
    void Reset(int descriptor = -1);

private:
    int fd = -1;
};

} // namespace vantorel
