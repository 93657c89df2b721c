// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/devices/private/GpioLines.h"

#include "vantorel/service/UniqueFd.h"
#include "vantorel/service/private/OrThrow.h"
#include "vantorel/service/private/Sys.h"

#include <algorithm>
#include <cstring>

namespace vantorel {

static_assert(GPIO_V2_GET_LINE_IOCTL == 0xc250b407 && sizeof(gpio_v2_line_request) == 0x250);
static_assert(GPIO_V2_LINE_GET_VALUES_IOCTL == 0xc010b40e && sizeof(gpio_v2_line_values) == 0x10);

void PrepareLineRequest(gpio_v2_line_request& request, const std::string& consumer,
                        std::initializer_list<unsigned> offsets, __u64 flags) {
    request = {};
    std::copy(offsets.begin(), offsets.end(), request.offsets);
    request.num_lines = static_cast<__u32>(offsets.size());
    request.config.flags = flags;
    // A longer name fills the label without a NUL; the kernel terminates the text.
    std::memcpy(request.consumer, consumer.data(),
                std::min(consumer.size(), sizeof request.consumer));
}

int RequestLines(const UniqueFd& chip, gpio_v2_line_request& request) {
    OrThrow(sys::Ioctl(chip.Get(), GPIO_V2_GET_LINE_IOCTL, &request));
    return request.fd;
}

} // namespace vantorel
