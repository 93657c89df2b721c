// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include <cstdint>
#include <memory>
#include <span>

namespace vantorelui {

using Color = std::uint32_t; ///< 0x00RRGGBB

struct Point {
    float x;
    float y;
};

struct Rect {
    int x;
    int y;
    int width;
    int height;
};

/** Mixes two colours; `alpha` runs from 0 (all `below`) to 256 (all `above`). */
constexpr Color Mix(Color below, Color above, unsigned alpha) {
    const unsigned rest = 256 - alpha;
    const Color redBlue = ((below & 0xFF00FF) * rest + (above & 0xFF00FF) * alpha) >> 8;
    const Color green = ((below & 0x00FF00) * rest + (above & 0x00FF00) * alpha) >> 8;
    return (redBlue & 0xFF00FF) | (green & 0x00FF00);
}

/**
 * The image of the display and the shapes that the screens consist of. Edges are anti-aliased, and
 * everything is clipped to the image.
 *
 * It has 5 KB of code. Debian's cairo, which draws the same shapes, needs 5 MB of libraries
 * (including fontconfig and X11), nearly as much as the device's compressed root file system of
 * 6 MB, and they would have to be unpacked before a program for the device can be linked.
 */
class Canvas {
public:
    Canvas(int columns, int rows);

    int Width() const { return width; }
    int Height() const { return height; }
    std::uint32_t* Pixels() { return pixels.get(); }
    std::uint32_t* Row(int y) { return pixels.get() + y * width; }

    /** Restricts drawing to an area until Unclip(); redraws a part of a larger shape. */
    void ClipTo(const Rect& area) { clip = area; }
    void Unclip() { clip = {0, 0, width, height}; }

    void Fill(const Rect& area, Color color);
    /** Blends a colour over an area; `alpha` as in Mix(). */
    void Tint(const Rect& area, Color color, unsigned alpha);
    void RoundedRect(const Rect& area, float radius, Color color);
    /** Only the edge of a rounded rectangle; `thickness` reaches inwards. */
    void RoundedFrame(const Rect& area, float radius, float thickness, Color color);
    void Disc(Point center, float radius, Color color);
    void Ring(Point center, float radius, float thickness, Color color);
    /** A line with round ends. */
    void Line(Point from, Point to, float thickness, Color color);
    void Polygon(std::span<const Point> corners, Color color);
    /** Draws through a stencil of 8-bit coverage, such as a glyph. */
    void Stencil(const Rect& area, const std::uint8_t* coverage, Color color);

private:
    Rect Clip(const Rect& area) const;
    template <typename Distance>
    void Shape(const Rect& bounds, Color color, Distance&& distance);

    int width;
    int height;
    Rect clip; ///< lies within the image
    std::unique_ptr<Color[]> pixels;
};

} // namespace vantorelui
