// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "Readout.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace vantorelui {

namespace {

constexpr float limit = 9999; ///< beyond the range of any sensor; the text stays within its field

} // namespace

Readout Readout::Temperature(std::optional<float> celsius, bool fahrenheit) {
    const char* unit = fahrenheit ? "\u00B0F" : "\u00B0C";
    Readout readout;
    int written = 0;
    if (celsius && std::isfinite(*celsius)) {
        const float shown = fahrenheit ? *celsius * 1.8F + 32 : *celsius;
        // Integer tenths: cheaper than printing floating point, and never "-0.0".
        const long tenths = std::lround(std::clamp(shown, -limit, limit) * 10);
        written = std::snprintf(readout.text.data(), readout.text.size(), "%s%ld.%ld %s",
                                tenths < 0 ? "-" : "", std::labs(tenths) / 10,
                                std::labs(tenths) % 10, unit);
    } else {
        written = std::snprintf(readout.text.data(), readout.text.size(), "--.- %s", unit);
    }
    readout.length = std::min(static_cast<std::size_t>(written), readout.text.size() - 1);
    return readout;
}

Readout Readout::Percent(std::optional<std::uint8_t> level) {
    Readout readout;
    const int written =
        level ? std::snprintf(readout.text.data(), readout.text.size(), "%d %%", *level)
              : std::snprintf(readout.text.data(), readout.text.size(), "-- %%");
    readout.length = std::min(static_cast<std::size_t>(written), readout.text.size() - 1);
    return readout;
}

} // namespace vantorelui
