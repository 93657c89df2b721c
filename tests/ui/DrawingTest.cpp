// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// The path of a frame to the display.

#include "tests/support/kernel/Drm.h"
#include "tests/ui/UserInterfaceFixture.h"
#include "vantorel/devices/LCD.h"

#include <chrono>
#include <functional>
#include <future>
#include <string_view>

namespace vantorel {
namespace {

using testing::ElementsAre;

/** Uses a display of 48 by 64 pixels whose kernel side is scripted. */
class DrawingTest : public test::UserInterfaceManagerTest {
protected:
    std::vector<std::uint32_t> Draw() {
        std::vector<std::uint32_t> pixels(48 * 64 + 1, 7);
        manager->OnLCDDraw(lcd, pixels.data());
        return pixels;
    }

    test::ScopedSys sys;
    test::FakeCard card{sys};
    LCD lcd{"lcd", "/dev/null"};
};

/** Writes each frame's number into its first and last pixels. */
struct Numbering final : CameraObserver {
    void OnCameraFrameAvailable(Camera&, kirocamera_frame_t* frame) override {
        kiroframe_t* image = nullptr;
        kirocamera_frame_get_frame_by_format(frame, KIROCAMERA_FORMAT_DISPLAY, &image);
        size = kiroframe_get_data_size(image);
        kiroframe_get_data(image)[0] = kiroframe_get_data(image)[size - 1] = ++number;
    }
    std::uint32_t size = 0;
    std::uint8_t number = 0;
};

/** The last pixels passed to the UI library. */
const std::uint8_t* PixelsShown() {
    vantorelui_sim_call_t call{};
    std::size_t index = vantorelui_sim_log_count();
    while (vantorelui_sim_log_get(--index, &call) &&
           std::string_view(call.function) != "UpdateThermalImage") {
    }
    return static_cast<const std::uint8_t*>(call.pointer);
}

TEST_F(DrawingTest, ShowsTheCompleteNewestFrameOfAnySize) {
    // The UI library expects 160 by 120, so it must not draw.
    vantorelui_sim_set_render_image(nullptr);
    Numbering frames;
    camera.AddObserver(frames);
    StartCamera();
    constexpr std::uint16_t widths[] = {160, 80, 640, 160};
    for (const std::uint16_t width : widths) {
        const kiroframe_t geometry{
            width, 120,    1, 8, 0, 0, width, 0, 1, width * 120U, KIROCAMERA_SIM_HEADER_SIZE,
            0,     nullptr};
        ASSERT_EQ(kirocamera_sim_set_geometry(&geometry), 0);
        for (int frame = 0; frame < 2; ++frame) {
            sdk.Frame();
            Draw();
            EXPECT_EQ(PixelsShown()[0], frames.number);
            EXPECT_EQ(PixelsShown()[frames.size - 1], frames.number);
        }
    }
}

TEST_F(DrawingTest, RendersEachScreenFromOneFrameOnly) {
    struct Rendering {
        std::function<void()> deliver;
        std::future<void> delivery;
    } rendering;
    Numbering frames;
    camera.AddObserver(frames);
    StartCamera();
    sdk.Frame();
    rendering.deliver = [this] { sdk.Frame(); };
    vantorelui_sim_set_render_hook(
        [](void* context) {
            auto& [deliver, delivery] = *static_cast<Rendering*>(context);
            const std::uint8_t* const pixels = PixelsShown();
            EXPECT_EQ(pixels[0], 1);
            delivery = std::async(std::launch::async, deliver);
            delivery.wait_for(std::chrono::milliseconds(100)); // time enough to overwrite
            EXPECT_EQ(pixels[0], 1) << "overwritten while it is rendered";
        },
        &rendering);
    Draw();
    rendering.delivery.wait();
    vantorelui_sim_set_render_hook(nullptr, nullptr);
    Draw();
    EXPECT_EQ(PixelsShown()[0], 2);
}

TEST_F(DrawingTest, DrawsTheNewestFrameUntilTheCameraLeavesAndCopiesOneWholeScreen) {
    std::vector<std::uint32_t> image(48 * 64 + 1, 0x123456);
    vantorelui_sim_set_render_image(image.data());
    StartCamera();
    sdk.Frame();
    // 320 by 240, larger than the first one.
    const kiroframe_t large{
        320, 240, 1, 8, 0, 0, 320, 0, 1, 320 * 240, KIROCAMERA_SIM_HEADER_SIZE, 0, nullptr};
    ASSERT_EQ(kirocamera_sim_set_geometry(&large), 0);
    sdk.Frame();
    ui.Calls();
    const auto pixels = Draw();
    image.back() = 7;
    EXPECT_EQ(pixels, image);
    EXPECT_THAT(ui.Calls(), ElementsAre("UpdateThermalImage 0 *", "Render 0"));
    EXPECT_THROW(sdk.Disconnect(), std::bad_cast); // the manager is not a camera
    vantorelui_sim_set_render_image(nullptr);
    EXPECT_THAT(Draw(), testing::Each(7U));
    EXPECT_THAT(ui.Calls(), ElementsAre("Render 0"));
}

TEST_F(DrawingTest, DoesNotDelayADisconnectWhileAScreenIsRendered) {
    std::promise<void> gates[2]; // start and end of the rendering
    StartCamera();
    sdk.Frame();
    vantorelui_sim_set_render_hook(
        [](void* context) {
            auto* const waiting = static_cast<std::promise<void>*>(context);
            waiting[0].set_value();
            waiting[1].get_future().wait();
        },
        gates);
    const auto display = std::async(std::launch::async, [&] { Draw(); });
    gates[0].get_future().wait();
    EXPECT_THROW(sdk.Disconnect(), std::bad_cast); // returns while the screen is being rendered
    gates[1].set_value();
}

} // namespace
} // namespace vantorel
