// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "Palette.h"

#include <algorithm>
#include <array>

namespace vantorelui {

Color PaletteColor(float heat) {
    struct Stop {
        float heat;
        Color color;
    };
    // Glowing metal: brightness rises with the heat, as in a grey image.
    static constexpr std::array<Stop, 8> stops{{{0.00F, 0x04020E},
                                                {0.14F, 0x1E0A5A},
                                                {0.30F, 0x6A0F96},
                                                {0.46F, 0xB91D7C},
                                                {0.62F, 0xEB5428},
                                                {0.78F, 0xFF9A0E},
                                                {0.91F, 0xFFDC4A},
                                                {1.00F, 0xFFFCEC}}};
    const auto above = std::find_if(stops.begin() + 1, stops.end() - 1,
                                    [heat](const Stop& stop) { return heat < stop.heat; });
    const Stop& below = *(above - 1);
    const float part = std::clamp((heat - below.heat) / (above->heat - below.heat), 0.0F, 1.0F);
    return Mix(below.color, above->color, static_cast<unsigned>(part * 256));
}

} // namespace vantorelui
