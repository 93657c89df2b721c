// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "TestPattern.h"

#include <algorithm>

namespace kirosim {

void DrawTestPattern(std::span<std::uint8_t, ScenePixels> picture) {
    constexpr int WedgeTop = SceneHeight - 14;
    constexpr int StepWidth = SceneWidth / 16;
    const auto fill = [picture](int left, int top, int width, int height, int grey) {
        for (int y = top; y < top + height; ++y) {
            const auto line = picture.subspan(static_cast<std::size_t>(y * SceneWidth + left));
            std::fill_n(line.begin(), width, static_cast<std::uint8_t>(grey));
        }
    };
    for (int step = 0; step < 16; ++step) {
        fill(step * StepWidth, WedgeTop, StepWidth, SceneHeight - WedgeTop, step * 17);
    }

    // The outermost pixels, so that a picture cropped or shifted by one pixel shows it.
    fill(0, 0, SceneWidth, 1, 255);
    fill(0, SceneHeight - 1, SceneWidth, 1, 255);
    fill(0, 0, 1, SceneHeight, 255);
    fill(SceneWidth - 1, 0, 1, SceneHeight, 255);

    fill(SceneWidth / 2 - 12, SceneHeight / 2, 25, 1, 255);
    fill(SceneWidth / 2, SceneHeight / 2 - 12, 1, 25, 255);
    fill(4, 4, 10, 6, 255); // marks the picture's upper left corner
}

} // namespace kirosim
