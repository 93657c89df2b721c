// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// The functions for tests.
#pragma GCC visibility push(default)
#include <VantorelUI_sim.h>
#pragma GCC visibility pop

#include "Library.h"
#include "Theme.h"

using vantorelui::Library;

int vantorelui_sim_screen(void) {
    return Library::Get().state.Query(
        [](const vantorelui::UiState& state) { return static_cast<int>(state.screen); });
}

int vantorelui_sim_width(void) {
    return vantorelui::theme::width;
}
int vantorelui_sim_height(void) {
    return vantorelui::theme::height;
}

bool vantorelui_sim_event(int event) {
    return Library::Get().events.Raise(event);
}

void vantorelui_sim_reset(void) {
    Library::Get().Reset();
}

void vantorelui_sim_set_render_image(uint32_t* image) {
    Library::Get().SetRenderImage(image);
}
void vantorelui_sim_clear_render_image(void) {
    Library::Get().SetRenderImage(std::nullopt);
}
void vantorelui_sim_set_render_hook(void (*hook)(void* context), void* context) {
    Library::Get().SetRenderHook(hook, context);
}

void vantorelui_sim_use_manual_clock(void) {
    Library::Get().clock.MakeManual();
}

void vantorelui_sim_advance_clock(uint32_t milliseconds) {
    Library& library = Library::Get();
    library.clock.Advance(milliseconds);
    library.buttons.Settle();
}

void vantorelui_sim_log(bool on) {
    Library::Get().calls.Switch(on);
}
size_t vantorelui_sim_log_count(void) {
    return Library::Get().calls.Count();
}
bool vantorelui_sim_log_get(size_t index, vantorelui_sim_call_t* call) {
    return call != nullptr && Library::Get().calls.Get(index, *call);
}
