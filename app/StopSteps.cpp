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
        camera.SendEmptyFrame();
    }
    if (!step.valid()) {
        std::cerr << "Shutdown no longer waits for the " << name << ".\n";
        return false;
    }
    try {
        step.get();
    } catch (const vantorel::Error& error) {
        std::cerr << "Ending the " << name << ": " << error.ToString() << '\n';
    }
    return true;
}

bool StopSteps::Do(const char* name, std::function<void()> step) {
    return Finish(name, Begin(std::move(step)));
}

bool StopSteps::Work(const char* name, std::function<void()> step) {
    const auto isWork = [until = Clock::now() + timeForWork] { return Clock::now() < until; };
    return Finish(name, Begin(std::move(step)), totalTime, isWork);
}

} // namespace app
