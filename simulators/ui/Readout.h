// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace vantorelui {

/** A number as text, such as "36.6 °C" or "80 %". Does not allocate. */
class Readout {
public:
    /** One digit after the point; dashes for a missing temperature or NaN. */
    static Readout Temperature(std::optional<float> celsius, bool fahrenheit);
    static Readout Percent(std::optional<std::uint8_t> level);

    std::string_view View() const { return {text.data(), length}; }
    bool operator==(const Readout& other) const { return View() == other.View(); }

private:
    std::array<char, 20> text{};
    std::size_t length = 0;
};

} // namespace vantorelui
