#pragma once

#include "tests/fuelgauge/FakeBus.h"
#include "vantorel/fuelgauge/FuelGauge.h"

#include <optional>

#include <fcntl.h>
#include <linux/gpio.h>

namespace vantorel::test {

/** A fuel gauge on a bus that notes its transfers; its construction is not among them. */
struct GaugeOnFakeBus {
    GaugeOnFakeBus() {
        bus.ioctls.On<gpio_v2_line_request>(GPIO_V2_GET_LINE_IOCTL,
                                            [](gpio_v2_line_request& record) {
                                                record.fd = -1;
                                                return 0;
                                            });
        gauge.emplace("gauge", "/dev/null", "/dev/null", 3u);
        bus.Take();
    }

    ScopedSys sys;
    FakeBus bus{sys};
    std::optional<FuelGauge> gauge;
};

} // namespace vantorel::test
