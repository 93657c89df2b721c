// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <kirocamera.h>

#include <cstdint>

namespace vantorel::test {

/** The image of every frame of the camera. */
inline kiroframe_t image{};

} // namespace vantorel::test

// Replaces a function of the camera SDK, so include this file in only one source of a program.
extern "C" kirocamera_error_t
kirocamera_frame_get_frame_by_format(kirocamera_frame_t*, std::uint32_t, kiroframe_t** answer) {
    *answer = &vantorel::test::image;
    return 0;
}
