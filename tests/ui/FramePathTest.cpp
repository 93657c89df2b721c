// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "tests/support/CameraSimulator.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/CountedAllocations.h"
#include "tests/support/UISimulator.h"
#include "tests/support/kernel/Drm.h"
#include "tests/ui/DeviceFiles.h"
#include "vantorel/camera/CameraManager.h"
#include "vantorel/devices/LCD.h"
#include "vantorel/ui/UserInterfaceManager.h"

namespace vantorel {
namespace {

/** Two of these count the allocations of the observers between them. */
struct Mark final : CameraObserver {
    explicit Mark(bool begins) : counts(begins) {}
    void OnCameraFrameAvailable(Camera&, kirocamera_frame_t*) override {
        test::countAllocations = counts;
    }
    const bool counts;
};

// Allocations at the frame and refresh rates cost time and would fragment the heap within a day.
TEST(FramePath, AllocatesNothingFromTheSecondFrameOn) {
    VANTOREL_NEED_PRIVATE_MOUNTS();
    test::ReplaceDeviceFiles("REV-6", "1.5.0");
    const test::CapturedOutput output;
    const test::RecordedUI ui;
    // The logs of the simulators allocate. They are off, so the camera is not in manual mode.
    vantorelui_sim_log(false);
    setenv("KIROCAMERA_SIM_RATE", "0", 1);
    setenv("KIROCAMERA_SIM_CONNECTED", "0", 1);
    kirocamera_sim_reset();
    UserInterfaceManager manager;
    Mark begin(true);
    Mark end(false);
    CameraManager camera(0);
    camera.AddObserver(begin);
    camera.AddObserver(manager);
    camera.AddObserver(end);
    camera.Start();
    kirocamera_sim_event(nullptr, KIROCAMERA_EVENT_CONNECT, 0);
    camera.OnConnectionStateChanged(ConnectionState::NoHost, ConnectionState::Undetermined);
    test::ScopedSys sys;
    test::FakeCard card(sys);
    LCD lcd("lcd", "/dev/null");
    std::vector<std::uint32_t> image(48 * 64);
    std::vector<std::uint32_t> pixels(48 * 64);
    vantorelui_sim_set_render_image(image.data());

    kirocamera_sim_frame(); // allocates the copy that later frames reuse
    EXPECT_GT(test::allocations.exchange(0), 0);
    for (int frame = 0; frame < 10; ++frame) {
        kirocamera_sim_frame();
        test::countAllocations = true;
        manager.OnLCDDraw(lcd, pixels.data());
        test::countAllocations = false;
    }
    EXPECT_EQ(test::allocations, 0);
}

} // namespace
} // namespace vantorel
