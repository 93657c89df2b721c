// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <kirocamera.h>

#include <cstdint>

namespace vantorel::test {

/** What every frame of the camera shows. */
inline kiroframe_t image{};

} // namespace vantorel::test

// Takes the place of the camera's SDK, and so is to be included once in a program.
extern "C" kirocamera_error_t
kirocamera_frame_get_frame_by_format(kirocamera_frame_t*, std::uint32_t, kiroframe_t** answer) {
    *answer = &vantorel::test::image;
    return 0;
}
