// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "Canvas.h"
#include "Font.h"
#include "PlainScreens.h"
#include "ThermalScreen.h"
#include "ThermalView.h"
#include "UiState.h"
#include "UpdateScreen.h"

#include <cstdint>
#include <optional>

namespace vantorelui {

/** Owns the image and updates it from the state. Not thread-safe: the caller serialises calls. */
class Renderer {
public:
    void UpdateThermalImage(const std::uint8_t* pixels) { thermal.Update(pixels); }
    /** The current image; null while no screen is selected. */
    std::uint32_t* Render(const SharedState& shared, std::int64_t milliseconds);
    void Reset();

private:
    Screen* Find(ScreenId id);

    /** Created with the first image: a program waits for its display first, not for this memory. */
    std::optional<Canvas> canvas;
    Fonts fonts;
    ThermalView thermal;
    SplashScreen splash;
    ThermalScreen thermalScreen;
    ChargingScreen charging;
    UpdateScreen update;
    ErrorScreen error;
    UiState state;
    std::uint64_t generation = 0; ///< of the state in `state`
    ScreenId shown = ScreenId::None;
};

} // namespace vantorelui
