// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/** The descriptors and strings that the vendor function writes to FunctionFS, byte for byte. */
namespace vantorel::subi {

inline constexpr std::array<std::uint8_t, 52> descriptors = {
    3, 0, 0, 0,    // FunctionFS descriptors, second version
    52, 0, 0, 0,   // length
    0x43, 0, 0, 0, // full-speed and high-speed descriptors follow; requests to every recipient
    2, 0, 0, 0,    // full-speed descriptors
    2, 0, 0, 0,    // high-speed descriptors
    // Full speed: vendor-specific interface with one endpoint, named by string 1 ...
    9, 4, 0, 0, 1, 0xff, 0, 0, 1,
    // ... bulk IN endpoint 1, packets of 64 bytes.
    7, 5, 0x81, 2, 64, 0, 1,
    // High speed: the same with packets of 512 bytes.
    9, 4, 0, 0, 1, 0xff, 0, 0, 1, //
    7, 5, 0x81, 2, 0, 2, 1};

static_assert(descriptors[4] == descriptors.size() && descriptors.back() == 1);

/** Offset of the high-speed packet size in the descriptors; the protocol reports it from there. */
inline constexpr std::size_t packetSizeOffset = 49;

/**
 * Both camera models use the name of the TCM300 for the interface. Kept: a host program may find it
 * by this text.
 */
inline constexpr std::array<std::uint8_t, 40> strings = {2,   0,   0,   0, // FunctionFS strings
                                                         40,  0,   0,   0, // length
                                                         1,   0,   0,   0, // strings
                                                         1,   0,   0,   0, // languages
                                                         0x9, 0x4,         // English, United States
                                                         'T', 'C', 'M', '3', '0', '0', ' ', 'T',
                                                         'h', 'e', 'r', 'm', 'a', 'l', ' ', 'C',
                                                         'a', 'm', 'e', 'r', 'a', 0};

static_assert(strings[4] == strings.size() && strings[38] == 'a');

} // namespace vantorel::subi
