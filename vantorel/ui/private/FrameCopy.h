#pragma once

#include <kirocamera.h>

#include <cstddef>
#include <cstdint>
#include <memory>

namespace vantorel {

/**
 * A deep copy of a camera image, header and pixels, with a buffer that is allocated once and reused
 * for every later image that fits. Thread-bound; owned by whoever draws from it.
 */
class FrameCopy {
public:
    /** Copies an image; one without a buffer leaves the copy as it is. */
    void Assign(const kiroframe_t& source);

    /** The copied image, for the frame accessors. */
    const kiroframe_t* Image() const { return &image; }

private:
    std::unique_ptr<std::uint8_t[]> buffer;
    std::size_t capacity = 0;
    kiroframe_t image{};
};

} // namespace vantorel
