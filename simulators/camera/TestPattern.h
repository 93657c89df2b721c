// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "ThermalScene.h"

#include <cstdint>
#include <span>

namespace kirosim {

/** Draws a border, a cross in the middle and a wedge of 16 greys over an image. */
void DrawTestPattern(std::span<std::uint8_t, scenePixels> picture);

} // namespace kirosim
