// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "ThermalView.h"

#include "Palette.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace vantorelui {

void ThermalView::Update(const std::uint8_t* pixels) {
    if (std::memcmp(picture.data(), pixels, picture.size()) != 0) {
        std::memcpy(picture.data(), pixels, picture.size());
        isNew = true;
    }
}

void ThermalView::Clear() {
    picture.fill(0);
    isNew = true;
}

void ThermalView::DrawAll(Canvas& canvas, int top) {
    palette.reserve(levels);
    while (palette.size() < levels) {
        palette.push_back(
            PaletteColor(static_cast<float>(palette.size()) / static_cast<float>(levels - 1)));
    }
    DrawPart(canvas, top, {0, 0, sourceWidth, sourceHeight});
    isNew = false;
}

void ThermalView::DrawPart(Canvas& canvas, int top, const Rect& source) const {
    WideRow buffers[3];
    WideRow* above = &buffers[0];
    WideRow* here = &buffers[1];
    WideRow* below = &buffers[2];
    Widen(source.y - 1, *above);
    Widen(source.y, *here);
    const Color* colors = palette.data();
    const int begin = source.x * scale;
    const int end = begin + source.width * scale;
    for (int row = source.y; row < source.y + source.height; ++row) {
        Widen(row + 1, *below);
        const std::uint16_t* const wide[] = {above->data(), here->data(), below->data()};
        std::uint32_t* const upper = canvas.Row(top + row * scale);
        std::uint32_t* const middle = canvas.Row(top + row * scale + 1);
        std::uint32_t* const lower = canvas.Row(top + row * scale + 2);
        for (int x = begin; x < end; ++x) {
            const unsigned level = wide[1][x];
            upper[x] = colors[2 * level + wide[0][x]];
            middle[x] = colors[3 * level];
            lower[x] = colors[2 * level + wide[2][x]];
        }
        std::swap(above, here);
        std::swap(here, below);
    }
}

/** Interpolates one source row to the full width; a row beyond the edge repeats the edge row. */
void ThermalView::Widen(int row, WideRow& wide) const {
    const int y = std::clamp(row, 0, sourceHeight - 1);
    const std::uint8_t* source = picture.data() + y * sourceWidth;
    std::uint16_t* out = wide.data();
    unsigned left = source[0];
    unsigned here = left;
    for (int x = 0; x < sourceWidth; ++x) {
        const unsigned right = x + 1 < sourceWidth ? source[x + 1] : here;
        *out++ = static_cast<std::uint16_t>(2 * here + left);
        *out++ = static_cast<std::uint16_t>(3 * here);
        *out++ = static_cast<std::uint16_t>(2 * here + right);
        left = here;
        here = right;
    }
}

} // namespace vantorelui
