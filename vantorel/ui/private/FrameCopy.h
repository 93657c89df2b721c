#pragma once

#include <kirocamera.h>

#include <cstddef>
#include <cstdint>
#include <memory>

namespace vantorel {

/**
 * A deep copy of a camera image, header and pixels, with a buffer that is allocated once and reused
 * for every later image that fits. For one thread at a time: its owner locks.
 */
class FrameCopy {
public:
    /**
     * Copies an image; one without a buffer, or of a size that no buffer can have, leaves the copy
     * as it is, and false is the answer.
     */
    bool Assign(const kiroframe_t& source);

    /** The copied image, for the frame accessors. */
    const kiroframe_t* Image() const { return &image; }

private:
    std::unique_ptr<std::uint8_t[]> buffer;
    std::size_t capacity = 0;
    kiroframe_t image{};
};

} // namespace vantorel
