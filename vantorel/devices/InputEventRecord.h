// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <cstddef>
#include <cstdint>

namespace vantorel {

/**
 * One event of an input device as the kernel of the 32-bit device delivers it. The kernel's
 * declaration is not used because its size differs on a 64-bit development machine.
 * Plain data, reentrant.
 */
struct InputEventRecord {
    std::uint32_t seconds;      /**< of the event's time */
    std::uint32_t microseconds; /**< of the event's time */
    std::uint16_t type;         /**< kind of event, EV_KEY for a key */
    std::uint16_t code;         /**< which key */
    std::int32_t value;         /**< for a key: 0 released, 1 pressed, 2 repeated */
};

static_assert(sizeof(InputEventRecord) == 16);
static_assert(offsetof(InputEventRecord, type) == 8 && offsetof(InputEventRecord, code) == 10 &&
              offsetof(InputEventRecord, value) == 12);

} // namespace vantorel
