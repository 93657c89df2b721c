// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// The parts that no test of the library uses: the frame with its header, and the control pipe. The
// chaos test covers the threads.

#include "tests/support/CameraSimulator.h"
#include "tests/support/PrivateRoot.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <future>
#include <string>
#include <vector>

namespace {

using namespace vantorel::test;

/** A camera with a running session, and its latest image. */
class CameraSimulator : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(kirocamera_manager_create(&manager, 3), 0);
        kirocamera_manager_register_event_callback(
            manager, [](auto...) {}, nullptr);
        manual.Connect();
        camera = kirocamera_sim_get_camera();
        const auto keep = [](auto, auto frame, void* kept) {
            kirocamera_frame_get_frame_by_format(frame, 0x80, static_cast<kiroframe_t**>(kept));
        };
        kirocamera_register_frame_available_callback(camera, keep, &image);
        ASSERT_EQ(kirocamera_capture_session_start(camera, 0x80), 0);
    }
    void TearDown() override { kirocamera_manager_destroy(manager); }

    template <typename Value>
    Value Header(std::size_t offset, Value value) const {
        return std::memcpy(&value, image->buffer + offset, sizeof value), value;
    }
    float Spot() const { return Header(131, 0.0F); }

    ManualCamera manual;
    kirocamera_manager_t* manager = nullptr;
    kirocamera_t* camera = nullptr;
    kiroframe_t* image = nullptr;
};

// The fields include the temperature of the spot and its pixels.
TEST_F(CameraSimulator, WritesEveryFieldOfAFrameAtItsOffset) {
    for (int count = 0; count < 10; ++count) {
        EXPECT_EQ(manual.Frame(), 0);
    }
    EXPECT_EQ(Header(22, std::uint64_t{}), 333'333'333U);
    EXPECT_STREQ(reinterpret_cast<const char*>(image->buffer + 30), "4B1D0C7A92E5");
    EXPECT_EQ(Header(99, std::uint32_t{}), 10U);
    EXPECT_GT(Header(103, std::uint32_t{}), 1000U);
    EXPECT_NEAR(Header(107, 0.0F), 22.0F, 0.5F);
    // In the fixed range, 0 to 60 degrees are the greys 0 to 255.
    const float grey = image->buffer[2048 + 60 * 160 + 80];
    EXPECT_NEAR(Spot(), grey * 60 / 255, 0.5F);
    EXPECT_EQ(image->width, 160);
    EXPECT_EQ(image->height, 120);
    EXPECT_EQ(image->line_stride, 160);
    EXPECT_EQ(image->header_size, 2048U);
    EXPECT_EQ(image->data_size, 19200U);
    EXPECT_EQ(kirocamera_sim_command("hang 1"), 0);
    auto stop = std::async([&] { return kirocamera_capture_session_stop(camera); });
    EXPECT_EQ(stop.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    EXPECT_EQ(manual.Frame(), 0) << "frames continue";
    EXPECT_EQ(kirocamera_sim_command("hang 0"), 0);
    EXPECT_EQ(stop.get(), 0);
    EXPECT_EQ(kirocamera_capture_session_start(camera, 0x80), 0);
    EXPECT_EQ(kirocamera_sim_command("disconnect"), 0);
    EXPECT_NE(manual.Frame(), 0) << "a command takes effect at once";
}

TEST_F(CameraSimulator, PlaysAndWritesRecordings) {
    const TemporaryDirectory directory;
    const auto picture = [](std::int16_t temperature) {
        const std::vector<std::int16_t> pixels(160 * 120, temperature);
        return std::string(reinterpret_cast<const char*>(pixels.data()), 2 * pixels.size());
    };
    directory.Write("cold and hot", picture(-1234) + picture(5000) + "the rest of a picture");
    directory.Write("short", "no picture");
    const auto command = [&](const std::string& text, const std::string& file) {
        EXPECT_EQ(kirocamera_sim_command((text + directory / file).c_str()), 0);
    };
    command(" play  ", "cold and hot \r");
    command("record ", "copy");
    for (const float celsius : {-12.34F, 50.0F, -12.34F}) {
        EXPECT_EQ(manual.Frame(), 0);
        EXPECT_NEAR(Spot(), celsius, 0.2F);
    }
    EXPECT_EQ(kirocamera_sim_command("record"), 0);
    testing::internal::CaptureStderr();
    command("play ", "short");
    EXPECT_EQ(manual.Frame(), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "camera simulator: no recording: " + directory / "short" + "\n");
    EXPECT_GT(Spot(), 10.0F) << "the scene continues";
    EXPECT_EQ(ReadFile(directory / "copy"), picture(-1234) + picture(5000) + picture(-1234));
}

TEST(CameraControl, SurvivesAnyInputFromThePipe) {
    const TemporaryDirectory directory;
    const std::string path = directory / "camera";
    setenv("KIROCAMERA_SIM_CONTROL", path.c_str(), 1);
    setenv("KIROCAMERA_SIM_CONNECTED", "0", 1);
    kirocamera_sim_reset();
    std::atomic<int> events = 0; // the event codes as decimal digits
    kirocamera_manager_t* manager = nullptr;
    ASSERT_EQ(kirocamera_manager_create(&manager, 0), 0);
    const auto note = [](auto, auto event, auto error, void* all) {
        auto& digits = *static_cast<std::atomic<int>*>(all);
        digits = digits * 10 + (event == KIROCAMERA_EVENT_ERROR ? error : event);
    };
    kirocamera_manager_register_event_callback(manager, note, &events);
    testing::internal::CaptureStderr();
    directory.Write("camera", "nonsense\x1b[2J\n" + std::string(5000, 'x') + "\ndisconnect\nconn");
    directory.Write("camera", "ect\n" + std::string(1000, ' ') +
                                  "error 7\r\n  error 2 \n\nerror 99999999999\ndisconnect\n");
    EXPECT_TRUE(Eventually([&] { return events == 721; }));
    kirocamera_manager_destroy(manager);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::AllOf(testing::HasSubstr("ignored command: nonsense?[2J\n"),
                               testing::HasSubstr("overlong"),
                               testing::HasSubstr("ignored command: error 99999999999\n")));
    EXPECT_FALSE(std::filesystem::exists(path));
}

} // namespace
