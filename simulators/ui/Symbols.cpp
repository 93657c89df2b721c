// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "Symbols.h"

#include "Palette.h"
#include "Theme.h"

#include <algorithm>
#include <array>

namespace vantorelui {

namespace {

constexpr int lowBattery = 20; ///< percent; a lower level is shown in red

} // namespace

Color BatteryColor(std::uint8_t level) {
    return level <= lowBattery ? theme::bad : theme::good;
}

void DrawBattery(Canvas& canvas, int x, int y, std::optional<std::uint8_t> level) {
    const bool low = level && *level <= lowBattery;
    const Color frame = low ? theme::bad : theme::text;
    canvas.RoundedFrame({x, y, 40, 22}, 5, 2, frame);
    canvas.RoundedRect({x + 41, y + 7, 3, 8}, 1, frame);
    if (level) {
        const int fill = std::max(32 * *level / 100, 4);
        canvas.RoundedRect({x + 4, y + 4, fill, 14}, 2, BatteryColor(*level));
    }
}

void DrawTorch(Canvas& canvas, int x, int y, Color color) {
    const auto at = [&](float dx, float dy) {
        return Point{static_cast<float>(x) + dx, static_cast<float>(y) + dy};
    };
    // A long handle, a head with the rim of the lens, and a narrow beam. A short handle with a wide
    // beam looks like a loudspeaker.
    canvas.RoundedRect({x - 8, y + 8, 22, 7}, 2, color);
    const std::array<Point, 4> head{at(13, 8), at(18, 4), at(18, 19), at(13, 15)};
    canvas.Polygon(head, color);
    canvas.RoundedRect({x + 18, y + 3, 3, 17}, 1, color);
    canvas.Line(at(25, 6), at(33, 4), 2, color);
    canvas.Line(at(25, 11.5F), at(34, 11.5F), 2, color);
    canvas.Line(at(25, 17), at(33, 19), 2, color);
}

void DrawWarning(Canvas& canvas, int x, int y, int size, Color color, Color mark) {
    const float s = static_cast<float>(size);
    const auto at = [&](float dx, float dy) {
        return Point{static_cast<float>(x) + dx * s, static_cast<float>(y) + dy * s};
    };
    const std::array<Point, 3> triangle{at(0.5F, 0.06F), at(0.96F, 0.86F), at(0.04F, 0.86F)};
    canvas.Polygon(triangle, color);
    for (std::size_t i = 0; i < triangle.size(); ++i) {
        canvas.Line(triangle[i], triangle[(i + 1) % triangle.size()], s * 0.1F, color);
    }
    canvas.Line(at(0.5F, 0.36F), at(0.5F, 0.58F), s * 0.1F, mark);
    canvas.Disc(at(0.5F, 0.75F), s * 0.06F, mark);
}

void DrawFlash(Canvas& canvas, Point center, float height, Color color) {
    const auto at = [&](float dx, float dy) {
        return Point{center.x + dx * height, center.y + dy * height};
    };
    const std::array<Point, 6> flash{at(0.10F, -0.5F), at(-0.30F, 0.08F), at(-0.04F, 0.08F),
                                     at(-0.10F, 0.5F), at(0.30F, -0.12F), at(0.04F, -0.12F)};
    canvas.Polygon(flash, color);
}

void DrawCrossHair(Canvas& canvas, int centerX, int centerY) {
    constexpr int gap = 6;
    constexpr int arm = 16;
    struct Stroke {
        int border;
        Color color;
    };
    for (const auto& [border, color] : {Stroke{1, 0x101010}, Stroke{0, 0xFFFFFF}}) {
        const int across = 2 + 2 * border;
        const int along = arm + 2 * border;
        canvas.Fill({centerX - 1 - border, centerY - gap - arm - border, across, along}, color);
        canvas.Fill({centerX - 1 - border, centerY + gap - border, across, along}, color);
        canvas.Fill({centerX - gap - arm - border, centerY - 1 - border, along, across}, color);
        canvas.Fill({centerX + gap - border, centerY - 1 - border, along, across}, color);
        canvas.Fill({centerX - 1 - border, centerY - 1 - border, across, across}, color);
    }
}

void DrawEmblem(Canvas& canvas, float x, float y) {
    // Three nested chevrons, hottest inside. Lines, since a polygon computes the distances of all
    // its sides for each pixel, and this is part of the first picture.
    constexpr std::array<float, 3> heats{0.46F, 0.68F, 0.86F};
    for (std::size_t i = 0; i < heats.size(); ++i) {
        const float inset = static_cast<float>(i) * 15;
        const Point tip{x + 42, y + 62 - static_cast<float>(i) * 26};
        const Color color = PaletteColor(heats[i]);
        canvas.Line({x + 5 + inset, y + 5}, tip, 10, color);
        canvas.Line({x + 79 - inset, y + 5}, tip, 10, color);
    }
}

void DrawPaletteStrip(Canvas& canvas, const Rect& area) {
    for (int x = 0; x < area.width; ++x) {
        const float heat = static_cast<float>(x) / static_cast<float>(area.width - 1);
        canvas.Fill({area.x + x, area.y, 1, area.height}, PaletteColor(heat));
    }
}

} // namespace vantorelui
