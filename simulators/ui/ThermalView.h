// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "Canvas.h"

#include <array>
#include <cstdint>
#include <vector>

namespace vantorelui {

/**
 * The thermal image in false colours, three times as large as the camera's.
 *
 * Interpolation by thirds needs no division: it computes 3a and 2a+b horizontally, then vertically.
 * An interpolated grey level is then a whole number of ninths and indexes the palette directly.
 */
class ThermalView {
public:
    static constexpr int sourceWidth = 160;
    static constexpr int sourceHeight = 120;
    static constexpr int scale = 3;
    static constexpr int width = sourceWidth * scale;
    static constexpr int height = sourceHeight * scale;

    /**
     * Copies an image. The application passes the newest image at every refresh, so the same image
     * may arrive several times; only a different one counts as new.
     */
    void Update(const std::uint8_t* pixels);
    /** Restores the uniform initial image. */
    void Clear();
    /** Whether Update() has received an image that DrawAll() has not drawn yet. */
    bool IsNew() const { return isNew; }

    void DrawAll(Canvas& canvas, int top);
    /**
     * Draws a part, given in camera pixels, to restore the area that an overlay covered. Call
     * DrawAll() first.
     */
    void DrawPart(Canvas& canvas, int top, const Rect& source) const;

private:
    using WideRow = std::array<std::uint16_t, width>;
    static constexpr std::size_t levels = 255 * scale * scale + 1;

    void Widen(int row, WideRow& wide) const;

    std::array<std::uint8_t, std::size_t{sourceWidth} * sourceHeight> picture{};
    std::vector<Color> palette; ///< made by the first DrawAll()
    bool isNew = true;
};

} // namespace vantorelui
