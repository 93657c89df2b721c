// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "Canvas.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

namespace vantorelui {

namespace {

float Length(float x, float y) {
    return std::sqrt(x * x + y * y);
}

float RoundedRectDistance(Point p, const Rect& area, float radius) {
    const float halfWidth = static_cast<float>(area.width) / 2;
    const float halfHeight = static_cast<float>(area.height) / 2;
    const float dx = std::fabs(p.x - static_cast<float>(area.x) - halfWidth) - halfWidth + radius;
    const float dy = std::fabs(p.y - static_cast<float>(area.y) - halfHeight) - halfHeight + radius;
    const float outside = Length(std::max(dx, 0.0F), std::max(dy, 0.0F));
    return outside + std::min(std::max(dx, dy), 0.0F) - radius;
}

/** A line between two points, with what all pixels' distances from it share. */
class LineSegment {
public:
    LineSegment(Point from, Point to) : a(from), along{to.x - from.x, to.y - from.y} {
        const float lengthSquared = along.x * along.x + along.y * along.y;
        perLengthSquared = lengthSquared > 0 ? 1 / lengthSquared : 0;
    }

    /** Squared, so that a polygon computes one square root instead of one per side. */
    float DistanceSquared(Point p) const {
        const Point toP{p.x - a.x, p.y - a.y};
        const float t =
            std::clamp((toP.x * along.x + toP.y * along.y) * perLengthSquared, 0.0F, 1.0F);
        const float dx = toP.x - along.x * t;
        const float dy = toP.y - along.y * t;
        return dx * dx + dy * dy;
    }

    /** Whether the line crosses the ray from the point to the right. */
    bool CrossesRayFrom(Point p) const {
        const float dy = p.y - a.y;
        return (a.y > p.y) != (a.y + along.y > p.y) && p.x < along.x * dy / along.y + a.x;
    }

private:
    Point a;
    Point along;
    float perLengthSquared;
};

float PolygonDistance(Point p, std::span<const LineSegment> sides) {
    float squared = std::numeric_limits<float>::max();
    bool inside = false;
    for (const LineSegment& side : sides) {
        squared = std::min(squared, side.DistanceSquared(p));
        inside = inside != side.CrossesRayFrom(p);
    }
    const float distance = std::sqrt(squared);
    return inside ? -distance : distance;
}

/** The pixels that a shape between two corners can touch, including its soft edge. */
Rect Around(Point least, Point most) {
    const int x = static_cast<int>(std::floor(least.x)) - 1;
    const int y = static_cast<int>(std::floor(least.y)) - 1;
    return {x, y, static_cast<int>(std::ceil(most.x)) + 1 - x,
            static_cast<int>(std::ceil(most.y)) + 1 - y};
}

/**
 * Memory with any contents, since every screen begins with a fill. One call provides its 300 pages,
 * instead of one page fault each.
 */
std::unique_ptr<Color[]> Allocate(std::size_t count) {
    auto pixels = std::make_unique_for_overwrite<Color[]>(count);
    const auto page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
    const auto end = reinterpret_cast<std::uintptr_t>(pixels.get() + count);
    const std::uintptr_t begin = reinterpret_cast<std::uintptr_t>(pixels.get()) / page * page;
    // Ignored: a kernel before 5.14 provides each page when it is first written.
    static_cast<void>(::madvise(reinterpret_cast<void*>(begin), end - begin, MADV_POPULATE_WRITE));
    return pixels;
}

} // namespace

Canvas::Canvas(int columns, int rows)
    : width(columns),
      height(rows),
      clip{0, 0, columns, rows},
      pixels(Allocate(static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows))) {}

Rect Canvas::Clip(const Rect& area) const {
    const int left = std::max(area.x, clip.x);
    const int top = std::max(area.y, clip.y);
    const int right = std::min(area.x + area.width, clip.x + clip.width);
    const int bottom = std::min(area.y + area.height, clip.y + clip.height);
    return {left, top, std::max(0, right - left), std::max(0, bottom - top)};
}

/**
 * Fills where the signed distance to the edge is negative; blends half a pixel around the edge. The
 * distance changes by at most one from a pixel to the next, so a pixel far from the edge decides
 * for those that follow it.
 */
template <typename Distance>
void Canvas::Shape(const Rect& bounds, Color color, Distance&& distance) {
    constexpr float rounding = 0.01F;
    const Rect area = Clip(bounds);
    const int right = area.x + area.width;
    for (int y = area.y; y < area.y + area.height; ++y) {
        std::uint32_t* row = Row(y);
        int x = area.x;
        while (x < right) {
            const Point center{static_cast<float>(x) + 0.5F, static_cast<float>(y) + 0.5F};
            const float edge = distance(center);
            const float coverage = 0.5F - edge;
            const float alike = std::fabs(edge) - 0.5F - rounding; // pixels that follow
            const int next = alike < static_cast<float>(right - x - 1)
                                 ? x + 1 + std::max(0, static_cast<int>(alike))
                                 : right;
            if (coverage >= 1) {
                std::fill(row + x, row + next, color);
            } else if (coverage > 0) {
                row[x] = Mix(row[x], color, static_cast<unsigned>(coverage * 256));
            }
            x = next;
        }
    }
}

void Canvas::Fill(const Rect& area, Color color) {
    const Rect clipped = Clip(area);
    if (clipped.width == 0 || clipped.height == 0) {
        return;
    }
    // Copying a line is several times as fast as filling it pixel by pixel.
    const std::uint32_t* first = Row(clipped.y) + clipped.x;
    std::fill_n(Row(clipped.y) + clipped.x, clipped.width, color);
    for (int y = clipped.y + 1; y < clipped.y + clipped.height; ++y) {
        std::memcpy(Row(y) + clipped.x, first,
                    static_cast<std::size_t>(clipped.width) * sizeof color);
    }
}

void Canvas::Tint(const Rect& area, Color color, unsigned alpha) {
    const Rect clipped = Clip(area);
    for (int y = clipped.y; y < clipped.y + clipped.height; ++y) {
        std::uint32_t* row = Row(y) + clipped.x;
        std::for_each(row, row + clipped.width,
                      [&](std::uint32_t& pixel) { pixel = Mix(pixel, color, alpha); });
    }
}

void Canvas::RoundedRect(const Rect& area, float radius, Color color) {
    // Only the corners need the costly distance; most of the area is a plain fill.
    const int corner = std::min(static_cast<int>(std::ceil(radius)), area.height / 2);
    const auto distance = [&](Point p) { return RoundedRectDistance(p, area, radius); };
    Fill({area.x, area.y + corner, area.width, area.height - 2 * corner}, color);
    for (const int y : {area.y, area.y + area.height - corner}) {
        const int inner = std::max(0, area.width - 2 * corner);
        Fill({area.x + corner, y, inner, corner}, color);
        Shape({area.x, y, corner, corner}, color, distance);
        Shape({area.x + corner + inner, y, area.width - corner - inner, corner}, color, distance);
    }
}

void Canvas::RoundedFrame(const Rect& area, float radius, float thickness, Color color) {
    Shape(area, color, [&](Point p) {
        const float middle = RoundedRectDistance(p, area, radius) + thickness / 2;
        return std::fabs(middle) - thickness / 2;
    });
}

void Canvas::Disc(Point center, float radius, Color color) {
    Shape(Around({center.x - radius, center.y - radius}, {center.x + radius, center.y + radius}),
          color, [&](Point p) { return Length(p.x - center.x, p.y - center.y) - radius; });
}

void Canvas::Ring(Point center, float radius, float thickness, Color color) {
    const float reach = radius + thickness / 2;
    Shape(Around({center.x - reach, center.y - reach}, {center.x + reach, center.y + reach}), color,
          [&](Point p) {
              const float middle = Length(p.x - center.x, p.y - center.y) - radius;
              return std::fabs(middle) - thickness / 2;
          });
}

void Canvas::Line(Point from, Point to, float thickness, Color color) {
    const float half = thickness / 2;
    Shape(Around({std::min(from.x, to.x) - half, std::min(from.y, to.y) - half},
                 {std::max(from.x, to.x) + half, std::max(from.y, to.y) + half}),
          color, [half, line = LineSegment(from, to)](Point p) {
              return std::sqrt(line.DistanceSquared(p)) - half;
          });
}

void Canvas::Polygon(std::span<const Point> corners, Color color) {
    if (corners.size() < 3) {
        return;
    }
    std::vector<LineSegment> sides;
    Point previous = corners.back();
    Point least = previous;
    Point most = previous;
    for (const Point& corner : corners) {
        sides.emplace_back(corner, previous);
        previous = corner;
        least = {std::min(least.x, corner.x), std::min(least.y, corner.y)};
        most = {std::max(most.x, corner.x), std::max(most.y, corner.y)};
    }
    Shape(Around(least, most), color, [&](Point p) { return PolygonDistance(p, sides); });
}

void Canvas::Stencil(const Rect& area, const std::uint8_t* coverage, Color color) {
    const Rect clipped = Clip(area);
    for (int y = clipped.y; y < clipped.y + clipped.height; ++y) {
        const std::uint8_t* alpha = coverage + (y - area.y) * area.width - area.x;
        std::uint32_t* row = Row(y);
        for (int x = clipped.x; x < clipped.x + clipped.width; ++x) {
            if (alpha[x] == 0xFF) {
                row[x] = color;
            } else if (alpha[x] != 0) {
                row[x] = Mix(row[x], color, alpha[x]);
            }
        }
    }
}

} // namespace vantorelui
