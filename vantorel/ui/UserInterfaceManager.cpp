// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/ui/UserInterfaceManager.h"

#include "vantorel/camera/Camera.h"
#include "vantorel/camera/private/FrameHeader.h"
#include "vantorel/devices/Button.h"
#include "vantorel/devices/LCD.h"
#include "vantorel/devices/Thermometer.h"
#include "vantorel/logger/LoggerEntry.h"
#include "vantorel/service/private/LittleEndian.h"
#include "vantorel/service/private/ReadFile.h"
#include "vantorel/service/private/WriteFile.h"
#include "vantorel/ui/Version.h"
#include "vantorel/ui/private/FrameCopy.h"

#include <VantorelUI.h>

#include <cmath>
#include <cstring>
#include <string>

namespace vantorel {
namespace {

constexpr const char* unitsFile = "/tmp/var/units";

// Frames between two updates of the frame's temperatures: six updates per second at 30 frames per
// second.
constexpr std::uint64_t framesPerTemperature = 5;

// Degrees Celsius at which the screen starts to show the overheating mark.
constexpr float boardLimit = 80.0F;
constexpr float batteryLimit = 65.0F;

UserInterfaceManager& Manager(void* context) {
    return *static_cast<UserInterfaceManager*>(context);
}

/** Calls the UI library's function for the button of this name; it has none for other buttons. */
void PassOn(const Button& button, void (*power)(), void (*torch)(), void (*reset)()) {
    const std::string& name = button.Name();
    if (name == "vantorel.button.power") {
        power();
    } else if (name == "vantorel.button.torch") {
        torch();
    } else if (name == "vantorel.button.reset") {
        reset();
    }
}

/**
 * The units that UnitsChanged() saved. Only the single letter "C" means Celsius: without a file, or
 * with a damaged one, the units are Fahrenheit.
 */
int SavedUnits() {
    const std::string text = ReadFileIfPossible(unitsFile);
    return text.substr(0, text.find('\n')) == "C" ? VANTORELUI_CELSIUS : VANTORELUI_FAHRENHEIT;
}

/** Subtracts the heat of the lit torch from a battery temperature. */
float WithoutTorchHeat(float t) {
    const float shifted = t - 0.955988F;
    const float linear = std::fma(0.029888F, t, shifted);
    return std::fma(-(0.001239F * t), t, linear);
}

/** Whether the state machine allows this transition. */
bool IsAllowed(UserInterfaceState from, UserInterfaceState target) {
    switch (target) {
    case UserInterfaceState::Splash:
        return from == UserInterfaceState::None;
    case UserInterfaceState::ThermalImaging:
        return from == UserInterfaceState::Splash;
    case UserInterfaceState::Charging:
    case UserInterfaceState::Update:
        return from == UserInterfaceState::Splash || from == UserInterfaceState::ThermalImaging;
    case UserInterfaceState::Fault:
        return true;
    default:
        return false;
    }
}

/** Selects a screen of the UI library. */
void Show(UserInterfaceState screen) {
    switch (screen) {
    case UserInterfaceState::Splash:
        ::SelectSplashScreen();
        break;
    case UserInterfaceState::ThermalImaging:
        ::SetTemperatureUnits(SavedUnits());
        ::SelectTIScreen();
        break;
    case UserInterfaceState::Charging:
        ::SelectChargingScreen();
        break;
    case UserInterfaceState::Update:
        ::SelectUpdateScreen();
        break;
    case UserInterfaceState::Fault:
        ::SelectErrorScreen();
        break;
    default:
        break;
    }
}

} // namespace

UserInterfaceManager::UserInterfaceManager() : frameCopy(std::make_unique<FrameCopy>()) {
    ::SetSKU(DeviceVersion().Sku().c_str());
    ::SetVersion(VersionText(DeviceVersion()).c_str());
    ::RegisterUIEvent(VANTORELUI_EVENT_TORCH_ON, &TorchOnRequest, this);
    ::RegisterUIEvent(VANTORELUI_EVENT_TORCH_OFF, &TorchOffRequest, this);
    ::RegisterUIEvent(VANTORELUI_EVENT_POWER_OFF, &PowerOffRequest, this);
    ::RegisterUIEvent(VANTORELUI_EVENT_UNITS_CHANGED, &UnitsChanged, this);
    TransitionToState(UserInterfaceState::Splash);
}

UserInterfaceManager::~UserInterfaceManager() = default;

void UserInterfaceManager::TransitionToState(UserInterfaceState target) {
    const Lock lock(transitionMutex);
    if (!IsAllowed(state, target)) {
        return;
    }
    // Set before the UI library is called: handlers of the events that it raises must see the new
    // state.
    state = target;
    // A handler may have selected another screen before the library showed this one. The library
    // may then show either of them, so select the later one again.
    UserInterfaceState shown = UserInterfaceState::None;
    while (shown != state) {
        shown = state;
        Show(shown);
    }
}

void UserInterfaceManager::OnButtonDown(Button& button) noexcept {
    PassOn(button, &::Button1Down, &::Button2Down, &::ButtonPinholeDown);
}

void UserInterfaceManager::OnButtonUp(Button& button) noexcept {
    PassOn(button, &::Button1Up, &::Button2Up, &::ButtonPinholeUp);
}

void UserInterfaceManager::OnCameraConnect(Camera& camera) noexcept {
    char chipId[KIROCAMERA_TEXT_SIZE + 1] = {}; // the SDK may fill all of its bytes without a NUL
    ::kirocamera_get_chipid(camera.Handle(), chipId);
    ::SetChipID(chipId);
}

void UserInterfaceManager::OnCameraDisconnect(Camera&) noexcept {
    frameKept = false;
}

void UserInterfaceManager::OnCameraFrameAvailable(Camera&, kirocamera_frame_t* frame) noexcept {
    if (frameCount == 0) {
        TransitionToState(UserInterfaceState::ThermalImaging);
    }
    const Lock lock(frameMutex);
    kiroframe_t* image = nullptr;
    if (::kirocamera_frame_get_frame_by_format(frame, KIROCAMERA_FORMAT_DISPLAY, &image) != 0) {
        return;
    }
    const std::uint64_t before = frameCount.load(std::memory_order_relaxed);
    frameCount.store(before + 1, std::memory_order_relaxed);
    if (before % framesPerTemperature == 0) {
        if (const std::uint8_t* header = frameheader::WithTemperatures(image)) {
            ::SetEnvironmentTemp(LoadLe<float>(header + frameheader::environmentTemperature));
            ::SetReadoutTemp(LoadLe<float>(header + frameheader::spotTemperature));
        }
    }
    if (image != nullptr) {
        KeepFrame(*image);
    }
}

void UserInterfaceManager::KeepFrame(const kiroframe_t& image) {
    if (frameCopy->Assign(image)) {
        frameKept.store(true, std::memory_order_relaxed); // the mutex orders access to the copy
    }
}

void UserInterfaceManager::OnConnectionStateChanged(ConnectionState newState,
                                                    ConnectionState oldState) noexcept {
    switch (newState) {
    case ConnectionState::Battery:
        if (oldState == ConnectionState::BatteryCharger) {
            PowerOffRequest(this);
        }
        break;
    case ConnectionState::BatteryCharger:
        TransitionToState(UserInterfaceState::Charging);
        break;
    case ConnectionState::Host:
        TransitionToState(UserInterfaceState::Update);
        break;
    case ConnectionState::NoBattery:
        TransitionToState(UserInterfaceState::Fault);
        break;
    default:
        break;
    }
}

void UserInterfaceManager::OnFirmwareUpdateBegin(FirmwareUpdateManager&) noexcept {
    ::SetUpdateProgress(0);
    ::SetUpdateUploading();
}

void UserInterfaceManager::OnFirmwareUpdateInProgress(FirmwareUpdateManager&,
                                                      std::uint8_t percent) noexcept {
    ::SetUpdateProgress(percent);
}

void UserInterfaceManager::OnFirmwareUpdateComplete(FirmwareUpdateManager&) noexcept {
    ::SetUpdateComplete(true);
}

void UserInterfaceManager::OnFirmwareUpdateError(FirmwareUpdateManager&, Error&) noexcept {
    ::SetUpdateComplete(false);
}

void UserInterfaceManager::OnFuelGaugeLevelQuery(FuelGauge&, std::uint8_t level) noexcept {
    ::SetBatteryState(level);
}

void UserInterfaceManager::OnFuelGaugeTemperatureQuery(FuelGauge&, float temperature) noexcept {
    batteryTemperature = torchOn ? WithoutTorchHeat(temperature) : temperature;
    UpdateOverheatingIndicator();
}

void UserInterfaceManager::OnLCDDraw(LCD& lcd, std::uint32_t* pixels) noexcept {
    {
        const Lock lock(frameMutex);
        if (frameKept) {
            ::UpdateThermalImage(::kiroframe_get_data(frameCopy->Image()));
        }
        renderedImage = ::Render();
    }
    if (renderedImage != nullptr) {
        const std::size_t pixelCount = std::size_t{lcd.Width()} * lcd.Height();
        std::memcpy(pixels, renderedImage, pixelCount * sizeof *pixels);
    }
}

void UserInterfaceManager::OnLoggerNewEntry(Logger&, LoggerEntry& entry) noexcept {
    ::SetDebugInfo(entry.ToString(true, true, "\n").c_str());
}

void UserInterfaceManager::OnThermometerTemperatureQuery(Thermometer& thermometer,
                                                         float temperature) noexcept {
    if (thermometer.Name() == "vantorel.thermometer.board") {
        boardTemperature = temperature;
        UpdateOverheatingIndicator();
    }
}

void UserInterfaceManager::UpdateOverheatingIndicator() {
    const auto overheats = [this] {
        return boardTemperature >= boardLimit || batteryTemperature >= batteryLimit;
    };
    // Two threads bring readings. The one that calls the library last may have evaluated first.
    bool shown = false;
    do {
        shown = overheats();
        ::SetOverheatingState(shown);
    } while (shown != overheats());
}

void UserInterfaceManager::OnTorchOn(Torch&) noexcept {
    torchOn = true;
}
void UserInterfaceManager::OnTorchOff(Torch&) noexcept {
    torchOn = false;
}

void UserInterfaceManager::TorchOnRequest(void* context) {
    Manager(context).observers.Notify(&UserInterfaceObserver::OnUserInterfaceTorchOnRequest);
}

void UserInterfaceManager::TorchOffRequest(void* context) {
    Manager(context).observers.Notify(&UserInterfaceObserver::OnUserInterfaceTorchOffRequest);
}

void UserInterfaceManager::PowerOffRequest(void* context) {
    Manager(context).observers.Notify(&UserInterfaceObserver::OnUserInterfacePowerOffRequest);
}

void UserInterfaceManager::UnitsChanged(void*) {
    const int units = ::GetTemperatureUnits();
    // Other units leave the file empty. Kept: an empty file means Fahrenheit at the next start.
    SaveFile(unitsFile, units == VANTORELUI_CELSIUS      ? "C"
                        : units == VANTORELUI_FAHRENHEIT ? "F"
                                                         : "");
}

void UserInterfaceManager::PowerButtonDoubleClick(void* context) {
    Manager(context).observers.Notify(
        &UserInterfaceObserver::OnUserInterfacePowerButtonDoubleClick);
}

void UserInterfaceManager::TorchButtonDoubleClick(void* context) {
    Manager(context).observers.Notify(
        &UserInterfaceObserver::OnUserInterfaceTorchButtonDoubleClick);
}

// The screens do not show these.
void UserInterfaceManager::OnButtonError(Button&, Error&) noexcept {}
void UserInterfaceManager::OnCameraCaptureSessionStart(Camera&) noexcept {}
void UserInterfaceManager::OnCameraCaptureSessionStop(Camera&) noexcept {}
void UserInterfaceManager::OnCameraError(Camera&, kirocamera_error_t) noexcept {}
void UserInterfaceManager::OnConnectionError(Error&) noexcept {}
void UserInterfaceManager::OnFirmwareUpdateFileFound(FirmwareUpdateManager&) noexcept {}
void UserInterfaceManager::OnFirmwareUpdateFileValid(FirmwareUpdateManager&) noexcept {}
void UserInterfaceManager::OnFuelGaugeCurrentQuery(FuelGauge&, std::int16_t) noexcept {}
void UserInterfaceManager::OnFuelGaugeVoltageQuery(FuelGauge&, float) noexcept {}
void UserInterfaceManager::OnFuelGaugeError(FuelGauge&, Error&) noexcept {}
void UserInterfaceManager::OnLCDError(LCD&, Error&) noexcept {}
void UserInterfaceManager::OnLoggerError(Logger&, Error&) noexcept {}
void UserInterfaceManager::OnThermometerError(Thermometer&, Error&) noexcept {}
void UserInterfaceManager::OnTorchError(Torch&, Error&) noexcept {}

} // namespace vantorel
