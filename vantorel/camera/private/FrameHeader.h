// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <kirocamera.h>

#include <cstddef>
#include <cstdint>

/** Offsets of the camera's values in the header of a frame; all are little-endian. */
namespace vantorel::frameheader {

constexpr std::size_t uptime = 22;
constexpr std::size_t chipId = 30;
constexpr std::size_t frameCounter = 99;
constexpr std::size_t diode = 103;
constexpr std::size_t environmentTemperature = 107;
constexpr std::size_t spotTemperature = 131;

/** The header of an image when it contains both temperatures, otherwise null. */
inline const std::uint8_t* WithTemperatures(const kiroframe_t* image) {
    const std::uint8_t* header = ::kiroframe_get_header(image);
    const bool reaches =
        header != nullptr && ::kiroframe_get_header_size(image) >= spotTemperature + sizeof(float);
    return reaches ? header : nullptr;
}

} // namespace vantorel::frameheader
