// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "FrameHeader.h"

#include <algorithm>
#include <bit>
#include <cstddef>

namespace kirosim {

namespace {

constexpr std::size_t uptimeOffset = 22;
constexpr std::size_t chipIdOffset = 30;
constexpr std::size_t frameCountOffset = 99;
constexpr std::size_t diodeOffset = 103;
constexpr std::size_t environmentOffset = 107;
constexpr std::size_t spotOffset = 131;

/** Writes a field, unless a test has shortened the header and the field lies beyond its end. */
template <typename Unsigned>
void Store(std::span<std::uint8_t> bytes, std::size_t offset, Unsigned value) {
    if (offset + sizeof(value) > bytes.size()) {
        return;
    }
    for (std::size_t i = 0; i < sizeof(value); ++i) {
        bytes[offset + i] = static_cast<std::uint8_t>(value >> (8U * i));
    }
}

} // namespace

void FrameHeader::Write(std::span<std::uint8_t> bytes) const {
    std::fill(bytes.begin(), bytes.end(), std::uint8_t{0});
    Store(bytes, uptimeOffset, uptimeNanoseconds);
    if (bytes.size() > chipIdOffset + chipId.size()) {
        std::copy(chipId.begin(), chipId.end(), bytes.begin() + chipIdOffset);
    }
    Store(bytes, frameCountOffset, frameCount);
    Store(bytes, diodeOffset, diodeCounts);
    Store(bytes, environmentOffset, std::bit_cast<std::uint32_t>(environmentCelsius));
    Store(bytes, spotOffset, std::bit_cast<std::uint32_t>(spotCelsius));
}

} // namespace kirosim
