#pragma once

#include "vantorel/service/ButtonObserver.h"
#include "vantorel/service/CameraObserver.h"
#include "vantorel/service/ConnectionObserver.h"
#include "vantorel/service/FirmwareUpdateObserver.h"
#include "vantorel/service/FuelGaugeObserver.h"
#include "vantorel/service/LCDObserver.h"
#include "vantorel/service/LoggerObserver.h"
#include "vantorel/service/ObserverList.h"
#include "vantorel/service/ThermometerObserver.h"
#include "vantorel/service/TorchObserver.h"
#include "vantorel/service/UserInterfaceObserver.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

namespace vantorel {

class FrameCopy;

/** The screen shown. */
enum class UserInterfaceState {
    None = 0,           /**< before construction has ended */
    Splash = 1,         /**< until the first camera frame */
    ThermalImaging = 2, /**< the live image */
    Charging = 3,       /**< final */
    Update = 4,         /**< final */
    Fault = 5,          /**< final */
};

/**
 * The bridge to the UI library, which draws every screen: turns what the subjects report into calls
 * of the library, keeps the state machine of the screens, has the current screen rendered for each
 * display refresh, and turns the library's events into notifications of UserInterfaceObservers.
 *
 * The units of temperatures are kept in "/tmp/var/units" ("C" or "F").
 *
 * Threads: each operation runs on the thread of its subject, the UserInterfaceObserver
 * notifications on the thread on which the library raises its event. The frame copy and rendering
 * are serialised by one mutex, which no handler of a library event takes, since the library may
 * raise events while it renders. One object for the life of the process: it is the context of the
 * library's events. An exception that leaves an observer operation ends the process.
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
     * Shows the splash screen, tells the library the product's identity and registers for its
     * events.
     * @throws std::invalid_argument, std::out_of_range when the version cannot be formed
     */
    UserInterfaceManager();
    UserInterfaceManager(const UserInterfaceManager&) = delete;
    UserInterfaceManager& operator=(const UserInterfaceManager&) = delete;
    ~UserInterfaceManager() override;

    /** Adds a receiver of the user's requests; to be finished before any service is started. */
    void AddObserver(UserInterfaceObserver& observer) { observers.Add(observer); }

    /** The screen selected last; the UI library may still be about to show it. Thread-safe. */
    UserInterfaceState State() const { return state; }

    /**
     * Shows another screen; a change that the state machine does not know is refused silently.
     * Splash comes from None; ThermalImaging from Splash; Charging and Update from Splash or
     * ThermalImaging; Fault from anywhere.
     *
     * Thread-safe: a second thread waits until the first one's screen is selected. A handler of an
     * event that the UI library raises meanwhile, on the same thread, may select a further screen;
     * that one is shown in the end.
     */
    void TransitionToState(UserInterfaceState target);

    void OnButtonUp(Button& button) noexcept override;
    void OnButtonDown(Button& button) noexcept override;
    void OnButtonError(Button& button, Error& error) noexcept override;

    void OnCameraConnect(Camera& camera) noexcept override;
    /** Drops the newest frame, without waiting for a picture that is being rendered from it. */
    void OnCameraDisconnect(Camera& camera) noexcept override;
    void OnCameraCaptureSessionStart(Camera& camera) noexcept override;
    void OnCameraCaptureSessionStop(Camera& camera) noexcept override;
    /** Keeps a copy of the frame; the first one ever brings up the thermal screen. */
    void OnCameraFrameAvailable(Camera& camera, kirocamera_frame_t* frame) noexcept override;
    void OnCameraError(Camera& camera, kirocamera_error_t error) noexcept override;

    /**
     * Moves to the screen of the state. From BatteryCharger to Battery the user pulled the charger
     * off a charging device: the observers are asked to power it off.
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
    /** Judges overheating; while the torch is lit its heat is taken out of the reading first. */
    void OnFuelGaugeTemperatureQuery(FuelGauge& gauge, float temperature) noexcept override;
    void OnFuelGaugeError(FuelGauge& gauge, Error& error) noexcept override;

    /** Renders the current screen and copies it into the display's back buffer. */
    void OnLCDDraw(LCD& lcd, std::uint32_t* pixels) noexcept override;
    void OnLCDError(LCD& lcd, Error& error) noexcept override;

    void OnLoggerNewEntry(Logger& logger, LoggerEntry& entry) noexcept override;
    void OnLoggerError(Logger& logger, Error& error) noexcept override;

    /** Judges overheating by the thermometer named "vantorel.thermometer.board". */
    void OnThermometerTemperatureQuery(Thermometer& thermometer,
                                       float temperature) noexcept override;
    void OnThermometerError(Thermometer& thermometer, Error& error) noexcept override;

    void OnTorchOn(Torch& torch) noexcept override;
    void OnTorchOff(Torch& torch) noexcept override;
    void OnTorchError(Torch& torch, Error& error) noexcept override;

    // Handlers of the UI library's events; the context is the manager. What an observer throws
    // passes through the library. The double clicks are for a UI library that raises them; this
    // manager registers only the first four, which are all that every library version knows.
    static void TorchOnRequest(void* context);         /**< asks the observers to light the torch */
    static void TorchOffRequest(void* context);        /**< asks them to put it out */
    static void PowerOffRequest(void* context);        /**< asks them to turn the device off */
    static void UnitsChanged(void* context);           /**< saves the units that the library has */
    static void PowerButtonDoubleClick(void* context); /**< tells the observers */
    static void TorchButtonDoubleClick(void* context); /**< tells the observers */

private:
    void KeepFrame(const kiroframe_t& image);
    void UpdateOverheatingIndicator();

    std::atomic<std::uint64_t> frameCount{0}; // changed under frameMutex
    std::uint32_t* renderedImage = nullptr;
    const std::unique_ptr<FrameCopy> frameCopy;
    std::mutex frameMutex; // of the copy, and of the picture rendered from it
    ObserverList<UserInterfaceObserver> observers;
    std::atomic<UserInterfaceState> state{UserInterfaceState::None};
    std::atomic<bool> torchOn{false};
    std::atomic<float> batteryTemperature{0.0F};
    std::atomic<float> boardTemperature{0.0F};
    // Whether the copy is of a camera that is still there; the memory of one that has gone is kept
    // until the next. Not under the mutex: the UI library may be rendering, and the SDK's event
    // thread must not wait for it.
    std::atomic<bool> frameKept{false};
    // Three threads change screens; without it a late first frame could undo the charging screen.
    // Recursive, since the UI library may raise an event while it selects a screen.
    std::recursive_mutex transitionMutex;
};

} // namespace vantorel
