// What the library's own tests do not already depend on: the picture and its header, the control
// pipe, and the simulator's threads.

#include "tests/support/CameraSimulator.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/TemporaryDirectory.h"

#include <FramePacer.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <set>
#include <thread>

namespace {

using namespace std::chrono_literals;
using vantorel::test::ManualCamera;

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
                ASSERT_EQ(kirocamera_frame_get_frame_by_format(frame, 0x80,
                                                               static_cast<kiroframe_t**>(image)),
                          0);
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
    Frames(1);
    EXPECT_EQ(Header<std::uint32_t>(99), 1U);
    Frames(9);
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

/** An application with a camera that runs on its own threads. */
class CameraThreads : public testing::Test {
protected:
    CameraThreads() {
        kirocamera_sim_reset();
        setenv("KIROCAMERA_SIM_RATE", "100", 1);
    }
    ~CameraThreads() override {
        kirocamera_manager_destroy(manager_);
        for (const char* name : {"CONTROL", "CONNECTED", "RATE"}) {
            unsetenv((std::string("KIROCAMERA_SIM_") + name).c_str());
        }
    }

    void Create() {
        ASSERT_EQ(kirocamera_manager_create(&manager_, 0), 0);
        ASSERT_EQ(kirocamera_manager_register_event_callback(manager_, OnEvent, this), 0);
    }
    void Destroy() { kirocamera_manager_destroy(std::exchange(manager_, nullptr)); }

    static void OnEvent(kirocamera_t* camera, kirocamera_manager_event_t event,
                        kirocamera_error_t error, void* user) {
        auto& test = *static_cast<CameraThreads*>(user);
        test.Change([&] { test.events_ += std::to_string(event) + ":" + std::to_string(error); });
        if (event == KIROCAMERA_EVENT_CONNECT) {
            kirocamera_register_frame_available_callback(camera, OnFrame, user);
            EXPECT_EQ(kirocamera_capture_session_start(camera, 0x80), 0);
        }
        if (event == KIROCAMERA_EVENT_ERROR) {
            // As an application that recovers does: waits for a frame, then starts anew.
            const int frames = test.frames_;
            EXPECT_TRUE(test.Wait([&] { return test.frames_ > frames; }));
            EXPECT_EQ(kirocamera_capture_session_stop(camera), 0);
            EXPECT_EQ(kirocamera_capture_session_start(camera, 0x80), 0);
        }
        test.Change([&] { test.events_ += " "; });
    }

    static void OnFrame(kirocamera_t*, kirocamera_frame_t*, void* user) {
        auto& test = *static_cast<CameraThreads*>(user);
        test.Change([&] { ++test.frames_; });
        test.Wait([&] { return !test.holdFrames_; });
    }

    template <typename Action>
    void Change(Action action) {
        const std::lock_guard lock(mutex_);
        action();
        changed_.notify_all();
    }
    template <typename Condition>
    bool Wait(Condition condition, std::chrono::milliseconds limit = 10s) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, limit, condition);
    }
    void ExpectEvents(const std::string& events) {
        EXPECT_TRUE(Wait([&] { return events_ == events; })) << events;
    }

    kirocamera_manager_t* manager_ = nullptr;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::string events_;
    std::atomic<int> frames_ = 0;
    bool holdFrames_ = false;
};

TEST_F(CameraThreads, FramesComeAtTheRateFromTheCameraThatIsThere) {
    Create();
    EXPECT_TRUE(Wait([&] { return frames_ >= 1; }));
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(Wait([&, before = frames_.load()] { return frames_ >= before + 30; }));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 285ms);

    EXPECT_EQ(kirocamera_sim_command("rate 0"), 0);
    EXPECT_EQ(kirocamera_sim_command("error -3"), 0); // its handler waits for a frame
    ExpectEvents("0:0 2:-3");
    const int stopped = frames_;
    EXPECT_FALSE(Wait([&] { return frames_ > stopped + 1; }, 100ms)); // one may be on its way
    EXPECT_EQ(kirocamera_sim_frame(), 0); // while the event thread is inside of the handler
    ExpectEvents("0:0 2:-3 ");
}

TEST_F(CameraThreads, CameraThatComesDuringRegistrationIsReportedOnce) {
    holdFrames_ = true; // and with them the handler of the error, which waits for the next frame
    Create();
    EXPECT_TRUE(Wait([&] { return frames_ == 1; }));
    for (const char* line : {"error -3", "disconnect", "connect"}) {
        EXPECT_EQ(kirocamera_sim_command(line), 0);
    }
    kirocamera_manager_register_event_callback(manager_, OnEvent, this);
    EXPECT_EQ(kirocamera_sim_command("error -4"), 0);
    Change([&] { holdFrames_ = false; });
    ExpectEvents("0:0 2:-3 1:0 0:0 2:-4 ");
}

TEST_F(CameraThreads, DestructionFindsTheEventThreadWhateverItDoes) {
    for (int round = 0; round < 500; ++round) {
        Create();
        Destroy();
    }
}

TEST_F(CameraThreads, StoppingDoesNotWaitForAFrameCallback) {
    holdFrames_ = true;
    Create();
    EXPECT_TRUE(Wait([&] { return frames_ == 1; })); // its callback is still running
    bool stopped = false;
    const std::jthread stopper([&] {
        kirocamera_capture_session_stop(kirocamera_sim_get_camera());
        Change([&] { stopped = true; });
    });
    EXPECT_TRUE(Wait([&] { return stopped; }, 5s));
    Change([&] { holdFrames_ = false; });
}

TEST_F(CameraThreads, ControlPipeSurvivesWhateverIsWrittenToItAndGoes) {
    const vantorel::test::TemporaryDirectory directory;
    const std::string path = directory / "camera";
    setenv("KIROCAMERA_SIM_CONTROL", path.c_str(), 1);
    setenv("KIROCAMERA_SIM_CONNECTED", "0", 1);
    const auto descriptors = vantorel::test::CountOpenDescriptors();
    Create();
    EXPECT_TRUE(std::filesystem::is_fifo(path));
    testing::internal::CaptureStderr();
    directory.Write("camera", "disconnect\n\x1b[2Jnonsense\n" + std::string(1000, 'x') + "\nconn");
    directory.Write("camera", "ect\n");
    ExpectEvents("0:0 ");
    directory.Write("camera",
                    "error -7\r\n  error 12 \n\nerror 99999999999\ndisconnect\nconnect\n");
    ExpectEvents("0:0 2:-7 2:12 1:0 0:0 ");
    Destroy();
    const std::string messages = testing::internal::GetCapturedStderr();
    for (const char* message :
         {"ignored command: ?[2Jnonsense\n", "overlong", "ignored command: error 99999999999\n"}) {
        EXPECT_NE(messages.find(message), std::string::npos) << messages;
    }
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_EQ(vantorel::test::CountOpenDescriptors(), descriptors);

    directory.Write("camera", ""); // something else in the pipe's place is not removed
    testing::internal::CaptureStderr();
    Create();
    Destroy();
    EXPECT_NE(testing::internal::GetCapturedStderr().find("not a pipe"), std::string::npos);
    EXPECT_TRUE(std::filesystem::exists(path));
}

} // namespace
