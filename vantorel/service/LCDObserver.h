// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/Error.h"
#include "vantorel/service/Export.h"

#include <cstdint>

namespace vantorel {

class LCD;

/**
 * Receives what an LCDService requests and reports, on the service's thread. An observer may be
 * thread-bound.
 */
class VANTOREL_EXPORT LCDObserver {
public:
    /** Draw one full frame: Height() rows of Stride() bytes, 32-bit pixels. The memory is not on
     * screen. */
    virtual void OnLCDDraw(LCD& lcd, std::uint32_t* pixels) = 0;
    /**
     * A flip failed, or the wait for its event (ETIME: no event came within a second). The next
     * cycle draws and flips again.
     */
    virtual void OnLCDError(LCD& lcd, Error& error) = 0;
    virtual ~LCDObserver() = default;
};

} // namespace vantorel
