#pragma once

#include "vantorel/service/CameraObserver.h"
#include "vantorel/service/ConnectionObserver.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

/** Lets the main thread wait until a camera has connected. */
class CameraLatch final : public vantorel::CameraObserver {
public:
    void OnCameraConnect(vantorel::Camera&) override {
        const std::lock_guard lock(mutex);
        connected = true;
        changed.notify_all();
    }

    /** True as soon as a camera has connected, false when none has in time. */
    bool WaitFor(std::chrono::milliseconds timeout) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, timeout, [this] { return connected; });
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    bool connected = false;
};

/** Remembers the last announced connection state; to be registered after whoever may throw. */
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
