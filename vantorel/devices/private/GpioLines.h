// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <initializer_list>
#include <string>

#include <linux/gpio.h>

namespace vantorel {

class UniqueFd;

/**
 * Fills a request for lines of a GPIO chip.
 * @param consumer the name of the lines' user, cut to the kernel's 32 bytes
 * @param flags GPIO_V2_LINE_FLAG_...
 */
void PrepareLineRequest(gpio_v2_line_request& request, const std::string& consumer,
                        std::initializer_list<unsigned> offsets, __u64 flags);

/**
 * Requests the lines from the chip and returns their descriptor, which the caller must close and
 * which children do not inherit. Throws Error(errno).
 */
int RequestLines(const UniqueFd& chip, gpio_v2_line_request& request);

} // namespace vantorel
