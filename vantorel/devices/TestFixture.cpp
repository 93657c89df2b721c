// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/devices/TestFixture.h"

#include "vantorel/devices/private/GpioLines.h"
#include "vantorel/service/private/OrThrow.h"
#include "vantorel/service/private/Sys.h"

#include <utility>

#include <fcntl.h>

namespace vantorel {

TestFixture::TestFixture(std::string deviceName, std::string devicePath)
    : Device(std::move(deviceName), std::move(devicePath), O_RDONLY) {
    PrepareLineRequest(request, Name(), {0, 1, 2},
                       GPIO_V2_LINE_FLAG_INPUT | GPIO_V2_LINE_FLAG_ACTIVE_LOW);
    lineFd = RequestLines(fd, request);
}

bool TestFixture::IsConnected() {
    gpio_v2_line_values values{};
    values.mask = 0b111;
    OrThrow(sys::Ioctl(lineFd, GPIO_V2_LINE_GET_VALUES_IOCTL, &values));
    return values.bits != 0;
}

} // namespace vantorel
