#include "tests/support/CameraSimulator.h"
#include "tests/support/CapturedOutput.h"
#include "vantorel/camera/Camera.h"
#include "vantorel/camera/CameraManager.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace vantorel {
namespace {

// The simulator's own threads deliver frames while other subjects connect, disconnect and request:
// no camera may be freed under any of them. Meant for the thread and address sanitizers.
TEST(CameraThreads, SurviveConnectsFramesAndRequestsAtOnce) {
    const test::CapturedOutput output;
    kirocamera_sim_reset();
    std::atomic<bool> end{false};
    {
        CameraManager manager(0);
        manager.Start();
        const auto repeat = [&](auto action) {
            return std::thread([&end, action] {
                while (!end) {
                    action();
                    std::this_thread::sleep_for(std::chrono::microseconds(300));
                }
            });
        };
        std::vector<std::thread> threads;
        threads.push_back(
            repeat([&] { CameraManager::FrameAvailable(nullptr, nullptr, &manager); }));
        threads.push_back(repeat([&] {
            manager.OnConnectionStateChanged(ConnectionState::Battery,
                                             ConnectionState::Undetermined);
        }));
        threads.push_back(repeat([&] { manager.OnUserInterfaceTorchButtonDoubleClick(); }));
        for (int round = 0; round < 200; ++round) {
            kirocamera_sim_event(nullptr, KIROCAMERA_EVENT_DISCONNECT, 0);
            kirocamera_sim_event(nullptr, KIROCAMERA_EVENT_CONNECT, 0);
        }
        end = true;
        for (std::thread& thread : threads) {
            thread.join();
        }
    }
    kirocamera_sim_reset();
}

} // namespace
} // namespace vantorel
