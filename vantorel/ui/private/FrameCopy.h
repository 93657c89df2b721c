// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <kirocamera.h>

#include <cstddef>
#include <cstdint>
#include <memory>

namespace vantorel {

/**
 * A deep copy of a camera image, header and pixels. It reuses its buffer for every later image that
 * fits. Not thread-safe: the owner locks.
 */
class FrameCopy {
public:
    /**
     * Copies an image. Returns false and keeps the old copy when the image has no buffer or no
     * pixels, or is too large.
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
