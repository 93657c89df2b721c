// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "Camera.h"
#include "ControlCommand.h"
#include "ControlFifo.h"
#include "FrameBuilder.h"
#include "WakeUp.h"

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

/**
 * The cameras and, except in manual mode, two threads. One delivers events, the other frames, so
 * that an event handler can wait for the next frame.
 *
 * Locks: lock the frames' mutex before the state's. Callbacks run without the state's mutex, so
 * they can call every function of the SDK.
 */
struct kirocamera_manager {
public:
    explicit kirocamera_manager(bool isManual);
    ~kirocamera_manager();
    kirocamera_manager(const kirocamera_manager&) = delete;
    kirocamera_manager& operator=(const kirocamera_manager&) = delete;

    /** Starts the threads. Call it once. */
    void Start();

    void Register(kirocamera_manager_event_callback_t function, void* context);
    kirocamera_error_t SendEvent(kirocamera_t* camera, kirocamera_manager_event_t event,
                                 kirocamera_error_t error);
    kirocamera_error_t SendFrame();
    void Post(const kirosim::ControlCommand& command);
    kirocamera_t* CurrentCamera();
    /** Blocks the caller while the SDK is set to hang. */
    void WaitWhileHanging();

    /** Runs `action` on the camera under the lock and notifies the frame thread of the change. */
    template <typename Action>
    kirocamera_error_t Change(kirocamera& camera, Action action) {
        const std::lock_guard lock(mutex);
        if (!camera.connected) {
            return KIROCAMERA_SIM_ERROR_DISCONNECTED;
        }
        const bool session = camera.session;
        const kirocamera_error_t result = action(camera);
        if (camera.session != session) {
            PaceAnew();
        }
        return result;
    }

private:
    using Clock = std::chrono::steady_clock;

    void EventLoop();
    void ReadEnvironment();
    void ExecutePending();
    void ExecuteLine(std::string_view line);
    void Execute(const kirosim::ControlCommand& command);
    void Announce();
    void SetRate(int hertz);
    void SetHanging(bool isHanging);

    void FrameLoop();
    bool FramesWanted();

    // With the lock held:
    void PaceAnew();
    kirocamera& AddCamera();
    kirocamera* LastCamera(bool kirocamera::*property);
    kirosim::FrameRequest NextRequest(kirocamera& camera) const;

    const bool manual;
    std::mutex mutex;
    std::condition_variable changed;
    bool quit = false;
    bool hangs = false;
    int rate = 30;
    unsigned pace = 0; /**< counts the restarts of the frame deadlines */
    std::vector<std::unique_ptr<kirocamera>> cameras; /**< kept: callbacks may still use them */
    kirocamera_manager_event_callback_t callback = nullptr;
    void* user = nullptr;
    std::deque<kirosim::ControlCommand> pending;

    kirosim::WakeUp wakeUp;
    std::optional<kirosim::ControlFifo> fifo;

    std::mutex frameMutex;
    std::optional<kirosim::FrameBuilder> builder; /**< made for the first frame */

    std::thread eventThread;
    std::thread frameThread;
};
