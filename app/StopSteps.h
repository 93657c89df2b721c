// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "app/Latches.h"

#include <chrono>
#include <functional>
#include <future>
#include <string>

namespace app {

/**
 * The steps of the shutdown, each on a separate thread, which is abandoned when it takes too long.
 * Together they wait for six of the ten seconds that a shutdown may take; the work that Finish()
 * and Work() describe does not count. The rest is for work that is not a step: saving the log
 * and unmounting the drive.
 */
class StopSteps {
public:
    explicit StopSteps(CameraLatch& latch) : camera(latch) {}

    /**
     * Starts a step.
     * @param always when no thread can be created, run the step on this one; otherwise the future
     *        is not valid then
     */
    static std::future<void> Begin(std::function<void()> step, bool always = false);

    /**
     * Waits for a step; returns false when it does not end in time.
     * @param limit the step's maximum share of the remaining time
     * @param isWork whether the step does work that must not be cut short; its time does not count
     */
    bool Finish(
        const char* name, std::future<void> step, std::chrono::milliseconds limit = totalTime,
        const std::function<bool()>& isWork = [] { return false; });

    /** Begins a step and waits for it. */
    bool Do(const char* name, std::function<void()> step);

    /**
     * Prints a line to standard error, on a thread of its own: the output's reader may have stopped
     * reading, without an end. A line without a thread is lost.
     */
    void Report(std::string line);

    /** For a step that never waits for the camera: up to 30 seconds of its time do not count. */
    bool Work(const char* name, std::function<void()> step);

    static constexpr std::chrono::milliseconds totalTime{6000};

private:
    using Clock = std::chrono::steady_clock;

    void SendEmptyFrame();

    CameraLatch& camera;
    std::future<void> emptyFrame;
    bool isRead = true; // the output
    Clock::time_point deadline = Clock::now() + totalTime;
};

} // namespace app
