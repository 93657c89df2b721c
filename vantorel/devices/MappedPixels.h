// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/Export.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace vantorel {

/** Unmaps the pixels of a display's buffer. Reentrant. */
struct VANTOREL_EXPORT UnmapPixels {
    std::size_t size = 0; /**< of the mapping, in bytes */
    /** Unmaps. */
    void operator()(std::uint32_t* pixels) const noexcept;
};

/** Owner of a mapped buffer of 32-bit pixels. Thread-bound. */
using MappedPixels = std::unique_ptr<std::uint32_t, UnmapPixels>;

} // namespace vantorel
