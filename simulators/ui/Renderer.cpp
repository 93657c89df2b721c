// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "Renderer.h"

#include "Theme.h"

namespace vantorelui {

Renderer::Renderer() : canvas_(theme::width, theme::height) {}

std::uint32_t* Renderer::Render(const SharedState& shared, std::int64_t milliseconds) {
    shared.Refresh(state_, generation_);
    Screen* const screen = Find(state_.screen);
    if (screen == nullptr) {
        return nullptr;
    }
    Scene scene{canvas_, fonts_, thermal_, state_, milliseconds};
    if (shown_ != state_.screen) {
        screen->Enter(scene);
        shown_ = state_.screen;
    }
    screen->Refresh(scene);
    return canvas_.Pixels();
}

Screen* Renderer::Find(ScreenId id) {
    switch (id) {
    case ScreenId::Splash:
        return &splash_;
    case ScreenId::Thermal:
        return &thermalScreen_;
    case ScreenId::Charging:
        return &charging_;
    case ScreenId::Update:
        return &update_;
    case ScreenId::Error:
        return &error_;
    case ScreenId::None:
        break;
    }
    return nullptr;
}

void Renderer::Reset() {
    thermal_.Clear();
    shown_ = ScreenId::None;
}

} // namespace vantorelui
