#include "tests/support/CameraSimulator.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/TemporaryDirectory.h"
#include "vantorel/camera/CameraManager.h"
#include "vantorel/logger/Logger.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <thread>

namespace vantorel {
namespace {

// Each frame's header holds one value in all of its bytes; a sample with two values is torn.
TEST(LoggerThreads, NeverSampleATornHeader) {
    const test::CapturedOutput output;
    test::ManualCamera sdk;
    test::TemporaryDirectory directory;
    Logger logger(directory / "");
    CameraManager manager(0);
    manager.AddObserver(logger);
    manager.Start();
    sdk.Connect();
    manager.OnConnectionStateChanged(ConnectionState::NoHost, ConnectionState::Undetermined);
    std::atomic<bool> end{false};
    std::thread camera([&] {
        std::array<std::uint8_t, LoggerEntry::headerSize> bytes;
        for (std::uint8_t value = 0; !end; ++value) {
            bytes.fill(value);
            kirocamera_sim_set_header(0, bytes.data(), bytes.size());
            sdk.Frame();
        }
    });
    for (int sample = 0; sample < 2000; ++sample) {
        const auto header = logger.CreateEntry().frameHeader;
        ASSERT_EQ(std::ranges::count(header, header[0]), LoggerEntry::headerSize);
    }
    end = true;
    camera.join();
}

} // namespace
} // namespace vantorel
