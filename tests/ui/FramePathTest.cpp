#include "tests/devices/FakeCard.h"
#include "tests/support/CameraSimulator.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/CountedAllocations.h"
#include "tests/support/PrivateMounts.h"
#include "tests/support/ScriptedSys.h"
#include "tests/support/UISimulator.h"
#include "vantorel/camera/CameraManager.h"
#include "vantorel/devices/LCD.h"
#include "vantorel/ui/UserInterfaceManager.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <vector>

namespace vantorel {
namespace {

/** Counts allocations from itself to the next one in the list of observers. */
struct Counter final : CameraObserver {
    explicit Counter(bool begins) : on(begins) {}
    void OnCameraFrameAvailable(Camera&, kirocamera_frame_t*) override {
        test::countAllocations =
            on && frames++ > 0; // the first frame makes the copy that the others reuse
        frames.notify_all();
    }
    void OnCameraConnect(Camera&) override {
        connected = true;
        connected.notify_all();
    }
    const bool on;
    std::atomic<int> frames{0};
    std::atomic<bool> connected{false};
};

// Thirty and sixty times a second the device has no time for the allocator, and a day of it would
// fragment the heap.
TEST(FramePath, AllocatesNothingFromTheSecondFrameOn) {
    VANTOREL_NEED_PRIVATE_MOUNTS();
    test::CoverWithTmpfs("/tmp");
    test::CoverWithTmpfs("/etc");
    std::filesystem::create_directories("/etc/kiro");
    std::ofstream("/etc/kiro/revision") << "REV-6";
    std::ofstream("/etc/kiro/version") << "1.5.0";
    const test::CapturedOutput output;
    vantorelui_sim_reset();
    kirocamera_sim_reset();
    UserInterfaceManager manager;
    Counter begin(true);
    Counter end(false);
    CameraManager camera(0);
    camera.AddObserver(begin);
    camera.AddObserver(manager);
    camera.AddObserver(end);
    camera.Start();
    end.connected.wait(false);
    test::ScopedSys sys;
    test::FakeCard card(sys);
    LCD lcd("lcd", "/dev/null");
    std::vector<std::uint32_t> image(48 * 64);
    std::vector<std::uint32_t> pixels(48 * 64);
    vantorelui_sim_set_render_image(image.data());

    camera.OnConnectionStateChanged(ConnectionState::NoHost, ConnectionState::Undetermined);
    for (int seen = begin.frames; seen < 10; seen = begin.frames) {
        begin.frames.wait(seen);
        test::countAllocations = true;
        manager.OnLCDDraw(lcd, pixels.data());
        test::countAllocations = false;
    }
    EXPECT_EQ(test::allocations, 0);
    vantorelui_sim_reset();
}

} // namespace
} // namespace vantorel
