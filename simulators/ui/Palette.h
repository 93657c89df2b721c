// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "Canvas.h"

namespace vantorelui {

/** The false colour of a heat between 0 (coldest) and 1 (hottest). */
Color PaletteColor(float heat);

} // namespace vantorelui
