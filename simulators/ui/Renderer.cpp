// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "Renderer.h"

#include "Theme.h"

namespace vantorelui {

std::uint32_t* Renderer::Render(const SharedState& shared, std::int64_t milliseconds) {
    shared.Refresh(state, generation);
    Screen* const screen = Find(state.screen);
    if (screen == nullptr) {
        return nullptr;
    }
    if (!canvas) {
        canvas.emplace(theme::width, theme::height);
    }
    Scene scene{*canvas, fonts, thermal, state, milliseconds};
    if (shown != state.screen) {
        screen->Enter(scene);
        shown = state.screen;
    }
    screen->Refresh(scene);
    return canvas->Pixels();
}

Screen* Renderer::Find(ScreenId id) {
    switch (id) {
    case ScreenId::Splash:
        return &splash;
    case ScreenId::Thermal:
        return &thermalScreen;
    case ScreenId::Charging:
        return &charging;
    case ScreenId::Update:
        return &update;
    case ScreenId::Error:
        return &error;
    case ScreenId::None:
        break;
    }
    return nullptr;
}

void Renderer::Reset() {
    thermal.Clear();
    shown = ScreenId::None;
}

} // namespace vantorelui
