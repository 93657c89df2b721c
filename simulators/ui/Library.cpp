// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "Library.h"

namespace vantorelui {

Library& Library::Get() {
    static Library& library = *new Library;
    return library;
}

Library::RenderControl Library::Control() const {
    const std::lock_guard lock(controlMutex);
    return control;
}

std::uint32_t* Library::Render() {
    if (const RenderControl current = Control(); current.hook != nullptr) {
        current.hook(current.context);
    }
    // Read again: the hook may have waited until the test set another image.
    if (const auto image = Control().image) {
        return *image;
    }
    return renderer.Render(state, clock.Now());
}

void Library::SetRenderImage(std::optional<std::uint32_t*> image) {
    const std::lock_guard lock(controlMutex);
    control.image = image;
}

void Library::SetRenderHook(void (*hook)(void*), void* context) {
    const std::lock_guard lock(controlMutex);
    control.hook = hook;
    control.context = context;
}

void Library::Reset() {
    events.Reset();
    buttons.Reset();
    clock.MakeReal();
    calls.Switch(false);
    SetRenderImage(std::nullopt);
    SetRenderHook(nullptr, nullptr);
    state.Modify([](UiState& current) { current = {}; });
    renderer.Reset();
}

} // namespace vantorelui
