// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "Canvas.h"

#include <cstdint>
#include <optional>

namespace vantorelui {

/** Red when the battery is nearly empty, green otherwise. */
Color BatteryColor(std::uint8_t level);

/** The small battery of the status bar, 44 x 22; an unknown level shows an empty one. */
void DrawBattery(Canvas& canvas, int x, int y, std::optional<std::uint8_t> level);
/** A torch with its beam, from (x - 8, y) to (x + 35, y + 22). */
void DrawTorch(Canvas& canvas, int x, int y, Color color);
/** A warning triangle `size` pixels wide. */
void DrawWarning(Canvas& canvas, int x, int y, int size, Color color, Color mark);
/** A flash of lightning, `height` pixels high, around a centre. */
void DrawFlash(Canvas& canvas, Point center, float height, Color color);
/** The mark of the spot, with a dark edge so that it is visible on every colour. */
void DrawCrossHair(Canvas& canvas, int centerX, int centerY);
/** The product's emblem, 84 x 72: a V in colours of the palette. */
void DrawEmblem(Canvas& canvas, float x, float y);
/** A strip with the whole palette, cold on the left. */
void DrawPaletteStrip(Canvas& canvas, const Rect& area);

} // namespace vantorelui
