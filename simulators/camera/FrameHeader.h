// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace kirosim {

/** The header fields that applications read. */
struct FrameHeader {
    std::uint64_t uptimeNanoseconds = 0;
    std::string_view chipId;
    std::uint32_t frameCount = 0;
    std::uint32_t diodeCounts = 0;
    float environmentCelsius = 0.0F;
    float spotCelsius = 0.0F;

    /** Writes the fields little-endian and unaligned, and 0 to all other bytes. */
    void Write(std::span<std::uint8_t> bytes) const;
};

} // namespace kirosim
