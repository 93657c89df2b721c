// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "Canvas.h"

namespace vantorelui::theme {

inline constexpr int width = 480;
inline constexpr int height = 640;
inline constexpr float middle = width / 2.0F;

inline constexpr Color background = 0x0B0F14;
inline constexpr Color panel = 0x141B23;
inline constexpr Color rule = 0x2A3541;
inline constexpr Color text = 0xEEF3F7;
inline constexpr Color muted = 0x8D9BAA;
inline constexpr Color accent = 0xFF8A1E;
inline constexpr Color good = 0x35D07F;
inline constexpr Color bad = 0xFF4B4B;
inline constexpr Color warning = 0xFFB224;

} // namespace vantorelui::theme
