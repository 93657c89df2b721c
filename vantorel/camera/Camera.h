// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/CameraObserver.h"
#include "vantorel/service/ConnectionObserver.h"
#include "vantorel/service/Mutex.h"
#include "vantorel/service/ObserverList.h"
#include "vantorel/service/USBGadgetObserver.h"
#include "vantorel/service/UserInterfaceObserver.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <semaphore>

namespace vantorel {

/**
 * One connected camera: runs its capture session as the connection state and the USB host require,
 * and counts its frames. The CameraManager creates it and forwards the notifications below.
 *
 * The session starts in the states Battery and NoHost, restarts when the camera fails on battery,
 * and starts and stops at a USB host's request. When the SDK fails to start or stop it, no session
 * notification is sent, and the failure is not reported.
 *
 * A stop waits for a frame that no earlier stop has consumed, since the SDK must not be stopped
 * before its first frame. A host that stops a session before the first frame therefore blocks the
 * session until a frame arrives, and every later start or stop waits as well.
 *
 * Thread-safe: frames arrive on SDK threads, events on another SDK thread, connection states and
 * requests on the threads of their subjects. An exception in any notification ends the process.
 */
class VANTOREL_EXPORT Camera final : public CameraObserver,
                                     public ConnectionObserver,
                                     public USBGadgetObserver,
                                     public UserInterfaceObserver {
public:
    /** @param camera the SDK's handle, borrowed until the camera's disconnect event has returned */
    explicit Camera(kirocamera_t* camera);
    Camera(const Camera&) = delete;
    Camera& operator=(const Camera&) = delete;
    ~Camera() override;

    /** The SDK's handle, for queries. */
    kirocamera_t* Handle() const { return handle; }

    /**
     * Average frames per second since the session's start, by the wall clock: a step of the clock
     * makes it wrong or negative until the next session. 0 before the first frame; not a finite
     * number within the session's first microsecond.
     */
    float FrameRate() const;

    /** Whether both objects have the same SDK handle. */
    bool operator==(const Camera& other) const { return handle == other.handle; }

    /** Adds a receiver of the session notifications. Call it before the camera is used. */
    void AddObserver(CameraObserver& observer) { observers.Add(observer); }

    /** Selects the display processing for the handheld's screen. */
    void OnCameraConnect(Camera& camera) noexcept override;
    void OnCameraDisconnect(Camera& camera) noexcept override;
    void OnCameraCaptureSessionStart(Camera& camera) noexcept override;
    void OnCameraCaptureSessionStop(Camera& camera) noexcept override;
    /**
     * Counts the frame; prints the rate on the first frame of a session and every 1000 frames. Does
     * not read the frame, which may be null: an application lets a stop that waits for a frame
     * proceed by passing an empty one.
     */
    void OnCameraFrameAvailable(Camera& camera, kirocamera_frame_t* frame) noexcept override;
    /** Restarts the session when the device runs on battery. */
    void OnCameraError(Camera& camera, kirocamera_error_t error) noexcept override;

    /** Starts the session in the states Battery and NoHost. */
    void OnConnectionStateChanged(ConnectionState newState,
                                  ConnectionState oldState) noexcept override;
    void OnConnectionError(Error& error) noexcept override;

    void OnUSBGadgetStopCaptureSessionRequest(USBGadget& gadget) noexcept override;
    void OnUSBGadgetStartCaptureSessionRequest(USBGadget& gadget) noexcept override;
    void OnUSBGadgetError(USBGadget& gadget, Error& error) noexcept override;

    void OnUserInterfacePowerOffRequest() noexcept override;
    void OnUserInterfaceTorchOnRequest() noexcept override;
    void OnUserInterfaceTorchOffRequest() noexcept override;
    /**
     * Switches the sensor between the modes 0 and 1; leaves any other. Called only if the
     * application registers UserInterfaceManager::PowerButtonDoubleClick() with the UI library.
     */
    void OnUserInterfacePowerButtonDoubleClick() noexcept override;
    /**
     * Switches the SDK's debug display on and off. Called only if the application registers
     * UserInterfaceManager::TorchButtonDoubleClick() with the UI library.
     */
    void OnUserInterfaceTorchButtonDoubleClick() noexcept override;

private:
    void StartCaptureSession() VANTOREL_EXCLUDES(sessionMutex);
    void StartWithLock() VANTOREL_REQUIRES(sessionMutex);
    void StopCaptureSession() VANTOREL_EXCLUDES(sessionMutex);

    kirocamera_t* const handle;
    ObserverList<CameraObserver> observers;
    // One permit per frame. A stop takes one while it holds sessionMutex, so at most one thread
    // waits; the semaphore of GCC 12 can lose a wake-up when several wait.
    std::counting_semaphore<0x7fffffff> frames{0};
    std::atomic<ConnectionState> connectionState{ConnectionState::Undetermined};
    std::atomic<std::uint32_t> frameCounter{0};
    std::atomic<std::chrono::system_clock::rep> captureStart{0};
    Mutex sessionMutex; // held from a start or stop to the end of its notifications
    std::atomic<int> debugDisplay{0};
};

} // namespace vantorel
