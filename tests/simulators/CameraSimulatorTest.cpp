// What the library's own tests do not already depend on: the picture and its header, the control
// pipe, and the simulator's threads.

#include "tests/support/CameraSimulator.h"
#include "tests/support/PrivateRoot.h"
#include "tests/support/TemporaryDirectory.h"

#include <FramePacer.h>

#include <gmock/gmock.h>

#include <atomic>

namespace {

using namespace std::chrono_literals;
using namespace vantorel::test;

/** An application with one camera, in manual mode. */
class CameraSimulatorTest : public testing::Test {
protected:
    CameraSimulatorTest() {
        EXPECT_EQ(kirocamera_manager_create(&manager_, 3), 0);
        kirocamera_manager_register_event_callback(
            manager_, [](auto...) {}, nullptr);
        manual_.Connect();
        kirocamera_t* const camera = kirocamera_sim_get_camera();
        kirocamera_register_frame_available_callback(
            camera,
            [](kirocamera_t*, kirocamera_frame_t* frame, void* image) {
                kirocamera_frame_get_frame_by_format(frame, 0x80,
                                                     static_cast<kiroframe_t**>(image));
            },
            &image_);
        EXPECT_EQ(kirocamera_capture_session_start(camera, 0x80), 0);
    }
    ~CameraSimulatorTest() override { kirocamera_manager_destroy(manager_); }

    void Frames(int count) {
        while (count-- > 0) {
            EXPECT_EQ(manual_.Frame(), 0);
        }
    }
    template <typename Value>
    Value Header(std::size_t offset) const {
        Value value;
        std::memcpy(&value, image_->buffer + offset, sizeof value);
        return value;
    }

    ManualCamera manual_;
    kirocamera_manager_t* manager_ = nullptr;
    kiroframe_t* image_ = nullptr; // the last one
};

TEST_F(CameraSimulatorTest, HeaderHasEveryFieldAtItsPlace) {
    Frames(10);
    EXPECT_EQ(Header<std::uint64_t>(22), 333'333'333U);
    EXPECT_STREQ(reinterpret_cast<const char*>(image_->buffer + 30), "4B1D0C7A92E5");
    EXPECT_EQ(Header<std::uint32_t>(99), 10U);
    EXPECT_GT(Header<std::uint32_t>(103), 1000U);
    EXPECT_NEAR(Header<float>(107), 22.0F, 0.5F);
    EXPECT_EQ(image_->width, 160);
    EXPECT_EQ(image_->height, 120);
    EXPECT_EQ(image_->line_stride, 160);
    EXPECT_EQ(image_->header_size, 2048U);
    EXPECT_EQ(image_->data_size, 19200U);
    EXPECT_EQ(kirocamera_sim_command("disconnect"), 0);
    EXPECT_NE(manual_.Frame(), 0) << "a command takes effect at once";
}

TEST_F(CameraSimulatorTest, SpotIsTheTemperatureOfThePicturesMiddle) {
    std::set<float> spots;
    for (int frame = 0; frame < 20 * 30; frame += 5) {
        Frames(5);
        int grey = 0;
        for (const std::size_t y : {59U, 60U, 61U}) {
            for (const std::size_t x : {79U, 80U, 81U}) {
                grey += image_->buffer[2048 + y * 160 + x];
            }
        }
        // In the fixed range, 0 to 60 degrees are the greys 0 to 255.
        const auto spot = Header<float>(131);
        EXPECT_NEAR(static_cast<float>(grey) / 9 * 60 / 255, spot, 0.2F);
        spots.insert(spot);
    }
    EXPECT_LT(*spots.begin(), 22.0F);  // the wall
    EXPECT_GT(*spots.rbegin(), 28.0F); // somebody walked through the middle
}

TEST(FramePacerTest, RateDoesNotDriftAndMissedFramesAreLeftOut) {
    const kirosim::FramePacer::Clock::time_point start{24h};
    kirosim::FramePacer pacer;
    pacer.Start(start, 30);
    for (int frame = 1; frame < 30 * 3600; ++frame) {
        pacer.Advance(pacer.Deadline() + 5ms);
    }
    EXPECT_EQ(pacer.Deadline(), start + 1h);
    pacer.Advance(start + 2h + 10ms);
    EXPECT_EQ(pacer.Deadline(), start + 2h + 33333333ns);
}

// The simulator's own threads are tried by the camera manager's tests and by the chaos test.
TEST(CameraControl, SurvivesWhateverIsWrittenToThePipeAndGoes) {
    const TemporaryDirectory directory;
    const std::string path = directory / "camera";
    setenv("KIROCAMERA_SIM_CONTROL", path.c_str(), 1);
    setenv("KIROCAMERA_SIM_CONNECTED", "0", 1);
    kirocamera_sim_reset();
    std::atomic<int> events = 0; // the numbers of all of them, as digits
    kirocamera_manager_t* manager = nullptr;
    ASSERT_EQ(kirocamera_manager_create(&manager, 0), 0);
    const auto note = [](auto, auto event, auto error, void* all) {
        auto& digits = *static_cast<std::atomic<int>*>(all);
        digits = digits * 10 + (event == KIROCAMERA_EVENT_ERROR ? error : event);
    };
    kirocamera_manager_register_event_callback(manager, note, &events);
    testing::internal::CaptureStderr();
    directory.Write("camera", "nonsense\x1b[2J\n" + std::string(1000, 'x') + "\ndisconnect\nconn");
    directory.Write("camera", "ect\nerror 7\r\n  error 2 \n\nerror 99999999999\ndisconnect\n");
    EXPECT_TRUE(Eventually([&] { return events == 721; }));
    kirocamera_manager_destroy(manager);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::AllOf(testing::HasSubstr("ignored command: nonsense?[2J\n"),
                               testing::HasSubstr("overlong"),
                               testing::HasSubstr("ignored command: error 99999999999\n")));
    EXPECT_FALSE(std::filesystem::exists(path));

    directory.Write("camera", ""); // something else in the pipe's place is not removed
    ASSERT_EQ(kirocamera_manager_create(&manager, 0), 0);
    kirocamera_manager_destroy(manager);
    EXPECT_TRUE(std::filesystem::exists(path));
    unsetenv("KIROCAMERA_SIM_CONTROL");
    unsetenv("KIROCAMERA_SIM_CONNECTED");
}

} // namespace
