// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// The functions of the maker's interface.
#pragma GCC visibility push(default)
#include <VantorelUI.h>
#pragma GCC visibility pop

#include "Library.h"

#include <algorithm>

using vantorelui::Library;
using vantorelui::ScreenId;
using vantorelui::UiState;
using vantorelui::UpdatePhase;

namespace {

constexpr std::uint8_t full = 100; ///< percent

/** Records the call by its function's name. */
Library& Called(const char* function, const vantorelui::CallArguments& arguments = {}) {
    Library& library = Library::Get();
    library.calls.Add(function, arguments);
    return library;
}

void Select(const char* function, ScreenId screen) {
    Called(function).state.Modify([screen](UiState& state) { state.screen = screen; });
}

template <typename Field>
void SetText(const char* function, Field UiState::*field, const char* text) {
    Called(function, {.text = text}).state.Modify([&](UiState& state) {
        (state.*field).Assign(text);
    });
}

template <typename Field, typename Value>
void SetNumber(const char* function, Field UiState::*field, Value value, Value shown) {
    Called(function, {.number = static_cast<double>(value)}).state.Modify([&](UiState& state) {
        state.*field = shown;
    });
}

} // namespace

void RegisterUIEvent(int event, void (*handler)(void* context), void* context) {
    Called(__func__, {.number = static_cast<double>(event), .pointer = context})
        .events.Register(event, handler, context);
}

void SelectSplashScreen(void) {
    Select(__func__, ScreenId::Splash);
}
void SelectTIScreen(void) {
    Select(__func__, ScreenId::Thermal);
}
void SelectChargingScreen(void) {
    Select(__func__, ScreenId::Charging);
}
void SelectUpdateScreen(void) {
    Select(__func__, ScreenId::Update);
}
void SelectErrorScreen(void) {
    Select(__func__, ScreenId::Error);
}

void SetTemperatureUnits(int units) {
    Called(__func__, {.number = static_cast<double>(units)}).state.Modify([&](UiState& state) {
        state.fahrenheit = units == VANTORELUI_FAHRENHEIT;
    });
}

int GetTemperatureUnits(void) {
    return Called(__func__).state.Query([](const UiState& state) {
        return state.fahrenheit ? VANTORELUI_FAHRENHEIT : VANTORELUI_CELSIUS;
    });
}

void Button1Down(void) {
    Called(__func__).buttons.PowerDown();
}
void Button1Up(void) {
    Called(__func__).buttons.PowerUp();
}
void Button2Down(void) {
    Called(__func__).buttons.TorchDown();
}
void Button2Up(void) {
    Called(__func__).buttons.TorchUp();
}
void ButtonPinholeDown(void) {
    Called(__func__).buttons.PinholeDown();
}
void ButtonPinholeUp(void) {
    Called(__func__).buttons.PinholeUp();
}

void UpdateThermalImage(const uint8_t* pixels) {
    Library& library = Called(__func__, {.pointer = pixels});
    if (pixels != nullptr) {
        library.renderer.UpdateThermalImage(pixels);
    }
}

uint32_t* Render(void) {
    return Called(__func__).Render();
}

void SetBatteryState(uint8_t level) {
    SetNumber(__func__, &UiState::battery, level, std::min(level, full));
}
void SetOverheatingState(bool overheating) {
    SetNumber(__func__, &UiState::overheating, overheating, overheating);
}
void SetEnvironmentTemp(float celsius) {
    SetNumber(__func__, &UiState::environment, celsius, celsius);
}
void SetReadoutTemp(float celsius) {
    SetNumber(__func__, &UiState::spot, celsius, celsius);
}

void SetChipID(const char* text) {
    SetText(__func__, &UiState::chip, text);
}
void SetSKU(const char* text) {
    SetText(__func__, &UiState::sku, text);
}
void SetVersion(const char* text) {
    SetText(__func__, &UiState::version, text);
}
void SetDebugInfo(const char* text) {
    SetText(__func__, &UiState::debug, text);
}

void SetUpdateProgress(uint8_t percent) {
    SetNumber(__func__, &UiState::updateProgress, percent, std::min(percent, full));
}

void SetUpdateUploading(void) {
    Called(__func__).state.Modify(
        [](UiState& state) { state.updatePhase = UpdatePhase::Uploading; });
}

void SetUpdateComplete(bool success) {
    const UpdatePhase phase = success ? UpdatePhase::Succeeded : UpdatePhase::Failed;
    Called(__func__, {.number = static_cast<double>(success)})
        .state.Modify([phase](UiState& state) { state.updatePhase = phase; });
}
