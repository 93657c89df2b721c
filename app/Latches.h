// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/camera/Camera.h"
#include "vantorel/service/CameraObserver.h"
#include "vantorel/service/ConnectionObserver.h"
#include "vantorel/service/LCDObserver.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <future>
#include <mutex>

namespace app {

/** Lets the main thread wait until a camera connects, and stores the connected camera. */
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
     * Waits for a camera; returns false when none connects in time.
     * @param isOver ends the wait early; called several times per second
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
     * Releases a stop of the capture session that waits for a frame. The camera counts an empty
     * frame like any other and does not read it.
     */
    void SendEmptyFrame() {
        const std::lock_guard lock(mutex); // blocks OnCameraDisconnect(), so the camera stays alive
        if (camera != nullptr) {
            camera->OnCameraFrameAvailable(*camera, nullptr);
        }
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    vantorel::Camera* camera = nullptr;
};

/** Lets the main thread wait until the display shows its first picture. */
class PictureLatch final : public vantorel::LCDObserver {
public:
    /** The display asks for its second picture when the first is on the screen. */
    void OnLCDDraw(vantorel::LCD&, std::uint32_t*) override { CountToTwo(); }
    /** The first picture was not shown. */
    void OnLCDError(vantorel::LCD&, vantorel::Error&) override { CountToTwo(); }

    /** Waits for the picture or for the display's error, but no longer than this. */
    void Wait(std::chrono::milliseconds timeout) { shown.get_future().wait_for(timeout); }

private:
    void CountToTwo() {
        if (calls < 2 && ++calls == 2) {
            shown.set_value();
        }
    }

    int calls = 0; // used by the display's thread only
    std::promise<void> shown;
};

/** Stores the last connection state that reached this observer. */
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

} // namespace app
