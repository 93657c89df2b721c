// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/camera/Camera.h"

#include "vantorel/service/private/StatusLine.h"

#include <ctime>

namespace vantorel {
namespace {

using std::chrono::system_clock;

/**
 * The time since the epoch. A C++ library for 32-bit ARM may have been built with 32-bit seconds.
 * Its clock returns wrong times after January 2038, and every frame rate would be wrong.
 */
system_clock::duration WallClock() {
    std::timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

/** The average rate of a session's frames since its start, in frames per second. */
float RateOf(std::uint32_t count, system_clock::rep start) {
    const system_clock::duration elapsed = WallClock() - system_clock::duration(start);
    const auto microseconds = std::chrono::duration_cast<std::chrono::microseconds>(elapsed);
    return static_cast<float>(static_cast<double>(count) * 1'000'000.0 /
                              static_cast<double>(microseconds.count()));
}

} // namespace

Camera::Camera(kirocamera_t* camera) : handle(camera) {}

Camera::~Camera() = default;

float Camera::FrameRate() const {
    return RateOf(frameCounter, captureStart);
}

void Camera::OnCameraConnect(Camera&) noexcept {
    ::kirocamera_set_display_mode(handle, KIROCAMERA_DISPLAY_MODE_HANDHELD);
}

void Camera::OnCameraDisconnect(Camera&) noexcept {}
void Camera::OnCameraCaptureSessionStart(Camera&) noexcept {}
void Camera::OnCameraCaptureSessionStop(Camera&) noexcept {}

void Camera::OnCameraFrameAvailable(Camera&, kirocamera_frame_t*) noexcept {
    frames.release();
    const std::uint32_t before = frameCounter.fetch_add(1);
    if (before % 1000 == 0) {
        // Of this frame's own count: another thread may count the next frame meanwhile.
        PrintStatus("FPS: ", RateOf(before + 1, captureStart));
    }
}

void Camera::OnCameraError(Camera&, kirocamera_error_t) noexcept {
    if (connectionState == ConnectionState::Battery) {
        StopCaptureSession();
        StartCaptureSession();
    }
}

void Camera::OnConnectionStateChanged(ConnectionState newState, ConnectionState) noexcept {
    PrintStatus("CAMERA: CONNECTION_STATE_CHANGED ", static_cast<int>(newState));
    if (newState != ConnectionState::Battery && newState != ConnectionState::NoHost) {
        connectionState = newState;
        return;
    }
    // Set the state and start the session under one lock: a thread that reads the new state must
    // find the session started. Otherwise an error between the two would wait for the first frame
    // of a session that can start only after the error has been handled.
    const Lock lock(sessionMutex);
    connectionState = newState;
    StartWithLock();
}

void Camera::OnConnectionError(Error&) noexcept {}

void Camera::OnUSBGadgetStopCaptureSessionRequest(USBGadget&) noexcept {
    StopCaptureSession();
}
void Camera::OnUSBGadgetStartCaptureSessionRequest(USBGadget&) noexcept {
    StartCaptureSession();
}
void Camera::OnUSBGadgetError(USBGadget&, Error&) noexcept {}

void Camera::OnUserInterfacePowerOffRequest() noexcept {}
void Camera::OnUserInterfaceTorchOnRequest() noexcept {}
void Camera::OnUserInterfaceTorchOffRequest() noexcept {}

void Camera::OnUserInterfacePowerButtonDoubleClick() noexcept {
    int mode = 0;
    if (::kirocamera_get_sensor_mode(handle, &mode) != 0) {
        return;
    }
    if (mode == 0 || mode == 1) {
        ::kirocamera_set_sensor_mode(handle, 1 - mode);
    }
}

void Camera::OnUserInterfaceTorchButtonDoubleClick() noexcept {
    ::kirocamera_set_debug_display_mode(handle, debugDisplay.fetch_xor(1) ^ 1);
}

void Camera::StartCaptureSession() {
    const Lock lock(sessionMutex);
    StartWithLock();
}

void Camera::StartWithLock() {
    frameCounter = 0;
    captureStart = WallClock().count();
    if (::kirocamera_capture_session_start(handle, KIROCAMERA_FORMAT_DISPLAY) == 0) {
        observers.Notify(&CameraObserver::OnCameraCaptureSessionStart, *this);
    }
}

void Camera::StopCaptureSession() {
    const Lock lock(sessionMutex);
    frames.acquire();
    if (::kirocamera_capture_session_stop(handle) == 0) {
        observers.Notify(&CameraObserver::OnCameraCaptureSessionStop, *this);
    }
}

} // namespace vantorel
