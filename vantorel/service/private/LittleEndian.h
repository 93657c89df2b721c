// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace vantorel {

static_assert(std::endian::native == std::endian::little,
              "the camera's headers and the vendor protocol are read in place");

/**
 * Reads a little-endian value at any address. Camera header fields have odd offsets, and loading a
 * float from there through a cast pointer is a bus error on the device.
 */
template <typename T>
T LoadLe(const std::uint8_t* bytes) {
    static_assert(std::is_trivially_copyable_v<T>);
    T value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

} // namespace vantorel
