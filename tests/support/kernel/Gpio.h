// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "tests/support/kernel/Ioctl.h"

#include <cerrno>

#include <fcntl.h>
#include <linux/gpio.h>

namespace vantorel::test {

/**
 * The kernel's GPIO chips: a request gets its lines if it specifies this direction. Inputs are high
 * unless pulled down.
 */
class FakeChip {
public:
    FakeChip(IoctlRecorder& ioctls, __u64 direction) {
        ioctls.On<gpio_v2_line_request>(GPIO_V2_GET_LINE_IOCTL, [this, direction](auto& record) {
            requested = record;
            if ((record.config.flags & direction) == 0) {
                return FailWith(EINVAL);
            }
            record.fd = opensLines ? ::open("/dev/null", O_RDONLY | O_CLOEXEC) : -1;
            return requested.fd = record.fd, 0;
        });
        ioctls.On<gpio_v2_line_values>(GPIO_V2_LINE_GET_VALUES_IOCTL, [this](auto& values) {
            const bool inverts = (requested.config.flags & GPIO_V2_LINE_FLAG_ACTIVE_LOW) != 0;
            for (unsigned line = 0; line < requested.num_lines; ++line) {
                const bool isHigh = static_cast<int>(requested.offsets[line]) != pulled;
                values.bits |= values.mask & (__u64{isHigh != inverts} << line);
            }
            return 0;
        });
    }

    bool opensLines = true; // returns a real descriptor, which the user or the test closes
    int pulled = -1;        // the line that is pulled to ground
    gpio_v2_line_request requested{};
};

} // namespace vantorel::test
