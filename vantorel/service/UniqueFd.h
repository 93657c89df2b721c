#pragma once

#include "vantorel/service/Export.h"

namespace vantorel {

/**
 * Owner of one file descriptor. Move-only; a moved-from object owns nothing. Closing ignores the
 * result and keeps errno, so that an error can still be reported after the unwinding.
 *
 * Thread-bound, and as large as the int it owns.
 */
class VANTOREL_EXPORT UniqueFd {
public:
    UniqueFd() = default;
    /** Takes a descriptor over; -1 for none. */
    explicit UniqueFd(int descriptor) : fd(descriptor) {}
    /** Takes the other's descriptor over. */
    UniqueFd(UniqueFd&& other) noexcept : fd(other.Release()) {}
    /** Closes its own descriptor and takes the other's over. */
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        Reset(other.Release());
        return *this;
    }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;
    ~UniqueFd() { Reset(); }

    /** The descriptor, -1 when nothing is owned. Still owned by this object. */
    int Get() const { return fd; }
    /** Whether a descriptor is owned. */
    explicit operator bool() const { return fd >= 0; }

    /** Gives the descriptor up; the caller has to close it. */
    [[nodiscard]] int Release() {
        const int released = fd;
        fd = -1;
        return released;
    }

    /** Closes what is owned and takes over another descriptor. */
    void Reset(int descriptor = -1);

private:
    int fd = -1;
};

} // namespace vantorel
