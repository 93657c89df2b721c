#pragma once

#include "vantorel/camera/Camera.h"
#include "vantorel/service/CameraObserver.h"
#include "vantorel/service/ConnectionObserver.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>

/** Lets the main thread wait until a camera has connected, and remembers which. */
class CameraLatch final : public vantorel::CameraObserver {
public:
    void OnCameraConnect(vantorel::Camera& found) override {
        const std::lock_guard lock(mutex);
        camera = &found;
        changed.notify_all();
    }
    void OnCameraDisconnect(vantorel::Camera&) override {
        const std::lock_guard lock(mutex);
        camera = nullptr;
    }

    /**
     * True as soon as a camera has connected, false when none has in time.
     * @param isOver ends the wait early; called several times a second
     */
    bool WaitFor(std::chrono::milliseconds timeout, const std::function<bool()>& isOver) {
        const auto end = std::chrono::steady_clock::now() + timeout;
        std::unique_lock lock(mutex);
        while (camera == nullptr && std::chrono::steady_clock::now() < end && !isOver()) {
            changed.wait_for(lock, std::chrono::milliseconds(100));
        }
        return camera != nullptr;
    }

    /**
     * Lets one stop of the capture session through that waits for a frame. To the camera an empty
     * frame is a frame like any other: it is counted and not opened.
     */
    void SendEmptyFrame() {
        const std::lock_guard lock(mutex); // OnCameraDisconnect() waits, and the camera with it
        if (camera != nullptr) {
            camera->OnCameraFrameAvailable(*camera, nullptr);
        }
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    vantorel::Camera* camera = nullptr;
};

/** Remembers the last connection state that has come as far as this observer. */
class ConnectionLatch final : public vantorel::ConnectionObserver {
public:
    void OnConnectionStateChanged(vantorel::ConnectionState newState,
                                  vantorel::ConnectionState) override {
        state = newState;
    }
    void OnConnectionError(vantorel::Error&) override {}

    vantorel::ConnectionState State() const { return state; }

private:
    std::atomic<vantorel::ConnectionState> state{vantorel::ConnectionState::Undetermined};
};
