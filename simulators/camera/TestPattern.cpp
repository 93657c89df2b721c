// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "TestPattern.h"

#include <algorithm>

namespace kirosim {

void DrawTestPattern(std::span<std::uint8_t, scenePixels> picture) {
    constexpr int wedgeTop = sceneHeight - 14;
    constexpr int stepWidth = sceneWidth / 16;
    const auto fill = [picture](int left, int top, int width, int height, int grey) {
        for (int y = top; y < top + height; ++y) {
            const auto line = picture.subspan(static_cast<std::size_t>(y * sceneWidth + left));
            std::fill_n(line.begin(), width, static_cast<std::uint8_t>(grey));
        }
    };
    for (int step = 0; step < 16; ++step) {
        fill(step * stepWidth, wedgeTop, stepWidth, sceneHeight - wedgeTop, step * 17);
    }

    // The outermost pixels, so that a crop or a shift by one pixel is visible.
    fill(0, 0, sceneWidth, 1, 255);
    fill(0, sceneHeight - 1, sceneWidth, 1, 255);
    fill(0, 0, 1, sceneHeight, 255);
    fill(sceneWidth - 1, 0, 1, sceneHeight, 255);

    fill(sceneWidth / 2 - 12, sceneHeight / 2, 25, 1, 255);
    fill(sceneWidth / 2, sceneHeight / 2 - 12, 1, 25, 255);
    fill(4, 4, 10, 6, 255); // marks the image's upper left corner
}

} // namespace kirosim
