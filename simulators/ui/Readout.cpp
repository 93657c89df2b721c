// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "Readout.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace vantorelui {

namespace {

constexpr float limit = 9999; ///< beyond every sensor; keeps the text within its field

} // namespace

Readout Readout::Temperature(std::optional<float> celsius, bool fahrenheit) {
    const char* unit = fahrenheit ? "\u00B0F" : "\u00B0C";
    Readout readout;
    int length = 0;
    if (celsius && std::isfinite(*celsius)) {
        const float shown = fahrenheit ? *celsius * 1.8F + 32 : *celsius;
        // Whole tenths: cheaper than printing floating point, and never "-0.0".
        const long tenths = std::lround(std::clamp(shown, -limit, limit) * 10);
        length = std::snprintf(readout.text_.data(), readout.text_.size(), "%s%ld.%ld %s",
                               tenths < 0 ? "-" : "", std::labs(tenths) / 10,
                               std::labs(tenths) % 10, unit);
    } else {
        length = std::snprintf(readout.text_.data(), readout.text_.size(), "--.- %s", unit);
    }
    readout.length_ = std::min(static_cast<std::size_t>(length), readout.text_.size() - 1);
    return readout;
}

Readout Readout::Percent(std::optional<std::uint8_t> level) {
    Readout readout;
    const int length =
        level ? std::snprintf(readout.text_.data(), readout.text_.size(), "%d %%", *level)
              : std::snprintf(readout.text_.data(), readout.text_.size(), "-- %%");
    readout.length_ = std::min(static_cast<std::size_t>(length), readout.text_.size() - 1);
    return readout;
}

} // namespace vantorelui
