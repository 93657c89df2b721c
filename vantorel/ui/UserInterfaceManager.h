// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/ButtonObserver.h"
#include "vantorel/service/CameraObserver.h"
#include "vantorel/service/ConnectionObserver.h"
#include "vantorel/service/FirmwareUpdateObserver.h"
#include "vantorel/service/FuelGaugeObserver.h"
#include "vantorel/service/LCDObserver.h"
#include "vantorel/service/LoggerObserver.h"
#include "vantorel/service/Mutex.h"
#include "vantorel/service/ObserverList.h"
#include "vantorel/service/ThermometerObserver.h"
#include "vantorel/service/TorchObserver.h"
#include "vantorel/service/UserInterfaceObserver.h"

#include <atomic>
#include <cstdint>
#include <memory>

namespace vantorel {

class FrameCopy;

/** The screen shown. */
enum class UserInterfaceState {
    None = 0,           /**< until construction ends */
    Splash = 1,         /**< until the first camera frame */
    ThermalImaging = 2, /**< the live image */
    Charging = 3,       /**< final, except for Fault */
    Update = 4,         /**< final, except for Fault */
    Fault = 5,          /**< final */
};

/**
 * The bridge to the UI library, which draws every screen. It turns the subjects' notifications into
 * calls of the library, runs the state machine of the screens, renders the current screen for each
 * display refresh, and turns the library's events into notifications of UserInterfaceObservers.
 *
 * The file "/tmp/var/units" stores the units of temperatures ("C" or "F").
 *
 * Thread-safe: each operation runs on the thread of its subject, the UserInterfaceObserver
 * notifications on the thread on which the library raises its event, or on the connection manager's
 * when the charger was removed. One mutex serialises the frame copy and rendering. No handler of a
 * library event locks it, since the library may raise events while it renders. An observer of an
 * event raised during a rendering delays the display and the camera's frames; one of an event
 * raised while a screen is selected delays the threads that select others. Create one object for
 * the life of the process: it is the context of the library's events. An exception that leaves an
 * observer operation ends the process.
 */
class VANTOREL_EXPORT UserInterfaceManager final : public ButtonObserver,
                                                   public CameraObserver,
                                                   public ConnectionObserver,
                                                   public FirmwareUpdateObserver,
                                                   public FuelGaugeObserver,
                                                   public LCDObserver,
                                                   public LoggerObserver,
                                                   public ThermometerObserver,
                                                   public TorchObserver {
public:
    /**
     * Shows the splash screen, passes the product's identity to the library and registers for its
     * events.
     * @throws std::invalid_argument, std::out_of_range as VersionText() does
     */
    UserInterfaceManager();
    UserInterfaceManager(const UserInterfaceManager&) = delete;
    UserInterfaceManager& operator=(const UserInterfaceManager&) = delete;
    ~UserInterfaceManager() override;

    /** Adds a receiver of the user's requests. Call it before any service starts. */
    void AddObserver(UserInterfaceObserver& observer) { observers.Add(observer); }

    /** The screen selected last; the UI library may not show it yet. Thread-safe. */
    UserInterfaceState State() const { return state; }

    /**
     * Shows another screen; silently ignores a transition that the state machine does not allow.
     * Splash follows None; ThermalImaging follows Splash; Charging and Update follow Splash or
     * ThermalImaging; Fault follows any state.
     *
     * Thread-safe: a second thread waits until the first one's screen is selected. A handler of an
     * event that the UI library raises meanwhile, on the same thread, may select another screen,
     * which then stays.
     */
    void TransitionToState(UserInterfaceState target);

    void OnButtonUp(Button& button) noexcept override;
    void OnButtonDown(Button& button) noexcept override;
    void OnButtonError(Button& button, Error& error) noexcept override;

    void OnCameraConnect(Camera& camera) noexcept override;
    /**
     * Drops the newest frame, without waiting for a render that uses it. A frame that another
     * thread is copying at this moment may still be kept.
     */
    void OnCameraDisconnect(Camera& camera) noexcept override;
    void OnCameraCaptureSessionStart(Camera& camera) noexcept override;
    void OnCameraCaptureSessionStop(Camera& camera) noexcept override;
    /** Keeps a copy of the frame; the very first frame shows the thermal screen. */
    void OnCameraFrameAvailable(Camera& camera, kirocamera_frame_t* frame) noexcept override;
    void OnCameraError(Camera& camera, kirocamera_error_t error) noexcept override;

    /**
     * Shows the screen of the state. A change from BatteryCharger to Battery means that the charger
     * was removed: the manager then requests a power-off from its observers.
     */
    void OnConnectionStateChanged(ConnectionState newState,
                                  ConnectionState oldState) noexcept override;
    void OnConnectionError(Error& error) noexcept override;

    void OnFirmwareUpdateFileFound(FirmwareUpdateManager& manager) noexcept override;
    void OnFirmwareUpdateFileValid(FirmwareUpdateManager& manager) noexcept override;
    void OnFirmwareUpdateBegin(FirmwareUpdateManager& manager) noexcept override;
    void OnFirmwareUpdateInProgress(FirmwareUpdateManager& manager,
                                    std::uint8_t percent) noexcept override;
    void OnFirmwareUpdateComplete(FirmwareUpdateManager& manager) noexcept override;
    void OnFirmwareUpdateError(FirmwareUpdateManager& manager, Error& error) noexcept override;

    void OnFuelGaugeLevelQuery(FuelGauge& gauge, std::uint8_t level) noexcept override;
    void OnFuelGaugeCurrentQuery(FuelGauge& gauge, std::int16_t current) noexcept override;
    void OnFuelGaugeVoltageQuery(FuelGauge& gauge, float voltage) noexcept override;
    /** Checks for overheating; while the torch is lit, first subtracts its heat. */
    void OnFuelGaugeTemperatureQuery(FuelGauge& gauge, float temperature) noexcept override;
    void OnFuelGaugeError(FuelGauge& gauge, Error& error) noexcept override;

    /**
     * Renders the current screen and copies it into the display's back buffer. Render()'s image
     * must have the display's size; it is not checked.
     */
    void OnLCDDraw(LCD& lcd, std::uint32_t* pixels) noexcept override;
    void OnLCDError(LCD& lcd, Error& error) noexcept override;

    void OnLoggerNewEntry(Logger& logger, LoggerEntry& entry) noexcept override;
    void OnLoggerError(Logger& logger, Error& error) noexcept override;

    /** Checks the thermometer named "vantorel.thermometer.board" for overheating. */
    void OnThermometerTemperatureQuery(Thermometer& thermometer,
                                       float temperature) noexcept override;
    void OnThermometerError(Thermometer& thermometer, Error& error) noexcept override;

    void OnTorchOn(Torch& torch) noexcept override;
    void OnTorchOff(Torch& torch) noexcept override;
    void OnTorchError(Torch& torch, Error& error) noexcept override;

    /** Shows the overheating mark while the board or the battery is too hot. Thread-safe. */
    void UpdateOverheatingIndicator();

    // Handlers of the UI library's events; the context is the manager. An exception of an observer
    // passes through the library. This manager does not register the double clicks; they are for a
    // UI library that raises them.
    static void TorchOnRequest(void* context);         /**< notifies the observers */
    static void TorchOffRequest(void* context);        /**< notifies the observers */
    static void PowerOffRequest(void* context);        /**< notifies the observers */
    static void UnitsChanged(void* context);           /**< saves the library's units */
    static void PowerButtonDoubleClick(void* context); /**< notifies the observers */
    static void TorchButtonDoubleClick(void* context); /**< notifies the observers */

private:
    void KeepFrame(const kiroframe_t& image) VANTOREL_REQUIRES(frameMutex);

    std::atomic<std::uint64_t> frameCount{0}; // changed under frameMutex
    std::uint32_t* renderedImage = nullptr;   // used by the display's thread only
    const std::unique_ptr<FrameCopy> frameCopy VANTOREL_PT_GUARDED_BY(frameMutex);
    Mutex frameMutex; // also serialises rendering, which reads the copy
    ObserverList<UserInterfaceObserver> observers;
    std::atomic<UserInterfaceState> state{UserInterfaceState::None};
    std::atomic<bool> torchOn{false};
    std::atomic<float> batteryTemperature{0.0F};
    std::atomic<float> boardTemperature{0.0F};
    // Whether the copy belongs to a connected camera; the memory is reused for the next camera. Not
    // under the mutex: the SDK's event thread must not wait while the UI library renders.
    std::atomic<bool> frameKept{false};
    // Three threads change screens; without this mutex a late first frame could replace the
    // charging screen. Recursive, since the UI library may raise events while it selects a screen.
    RecursiveMutex transitionMutex;
};

} // namespace vantorel
