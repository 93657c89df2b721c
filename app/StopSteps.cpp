// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "app/StopSteps.h"

#include "vantorel/service/Error.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <system_error>
#include <thread>
#include <utility>

using namespace std::chrono_literals;

namespace app {

namespace {

// Beyond it, the step's time counts against the total, after which the step is abandoned. A port
// that is still on the bus leaves it at the end of the process.
constexpr std::chrono::milliseconds timeForWork = 30s;
constexpr std::chrono::milliseconds slice = 250ms;
constexpr std::chrono::milliseconds timeToPrint = 1s;

} // namespace

std::future<void> StopSteps::Begin(std::function<void()> step, bool always) {
    const auto task = std::make_shared<std::packaged_task<void()>>(std::move(step));
    std::future<void> end = task->get_future();
    try {
        std::thread([task] { (*task)(); }).detach();
    } catch (const std::system_error&) {
        if (!always) {
            return {};
        }
        (*task)();
    }
    return end;
}

bool StopSteps::Finish(const char* name, std::future<void> step, std::chrono::milliseconds limit,
                       const std::function<bool()>& isWork) {
    Clock::time_point until = std::min(deadline, Clock::now() + limit);
    while (step.valid() && step.wait_for(slice) != std::future_status::ready) {
        if (isWork()) {
            until += slice;
            deadline += slice;
        } else if (Clock::now() >= until) {
            step = {};
        }
        // A stop of the capture session waits for a frame, which a hung camera never delivers.
        SendEmptyFrame();
    }
    if (!step.valid()) {
        Report(std::string("Shutdown no longer waits for the ") + name + ".\n");
        return false;
    }
    try {
        step.get();
    } catch (const vantorel::Error& error) {
        Report(std::string("Ending the ") + name + ": " + error.ToString() + '\n');
    }
    return true;
}

/** On a thread of its own, because a session's first frame prints a line. */
void StopSteps::SendEmptyFrame() {
    if (!emptyFrame.valid() || emptyFrame.wait_for(0s) == std::future_status::ready) {
        emptyFrame = Begin([&latch = camera] { latch.SendEmptyFrame(); }, true);
    }
}

void StopSteps::Report(std::string line) {
    const std::future<void> end = Begin([text = std::move(line)] { std::cerr << text; });
    // Only the first unread line costs time. Later ones may still appear.
    isRead = isRead && end.valid() && end.wait_for(timeToPrint) == std::future_status::ready;
}

bool StopSteps::Do(const char* name, std::function<void()> step) {
    return Finish(name, Begin(std::move(step)));
}

bool StopSteps::Work(const char* name, std::function<void()> step) {
    const auto isWork = [until = Clock::now() + timeForWork] { return Clock::now() < until; };
    return Finish(name, Begin(std::move(step)), totalTime, isWork);
}

} // namespace app
