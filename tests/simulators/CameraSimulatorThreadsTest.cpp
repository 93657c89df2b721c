#include "tests/support/TemporaryDirectory.h"

#include <kirocamera_sim.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using namespace std::chrono_literals;

std::size_t Entries(const char* directory) {
    const std::filesystem::directory_iterator entries(directory);
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

/** An application with a camera that runs on its own threads. */
class CameraThreads : public testing::Test {
protected:
    CameraThreads() {
        kirocamera_sim_reset();
        unsetenv("KIROCAMERA_SIM_CONTROL");
        unsetenv("KIROCAMERA_SIM_CONNECTED");
        setenv("KIROCAMERA_SIM_RATE", "100", 1);
    }
    ~CameraThreads() override {
        kirocamera_manager_destroy(manager_);
        unsetenv("KIROCAMERA_SIM_CONTROL");
        unsetenv("KIROCAMERA_SIM_CONNECTED");
        unsetenv("KIROCAMERA_SIM_RATE");
    }

    void Create() {
        ASSERT_EQ(kirocamera_manager_create(&manager_, 0), 0);
        ASSERT_EQ(kirocamera_manager_register_event_callback(manager_, OnEvent, this), 0);
    }
    void Destroy() {
        kirocamera_manager_destroy(manager_);
        manager_ = nullptr;
    }

    static void OnEvent(kirocamera_t* camera, kirocamera_manager_event_t event,
                        kirocamera_error_t error, void* user) {
        auto& test = *static_cast<CameraThreads*>(user);
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
        const std::lock_guard lock(test.mutex_);
        test.events_ += std::to_string(event) + ":" + std::to_string(error) + " ";
        test.changed_.notify_all();
    }

    static void OnFrame(kirocamera_t*, kirocamera_frame_t*, void* user) {
        auto& test = *static_cast<CameraThreads*>(user);
        std::unique_lock lock(test.mutex_);
        ++test.frames_;
        test.changed_.notify_all();
        test.changed_.wait_for(lock, 10s, [&] { return !test.holdFrames_; });
    }

    template <typename Condition>
    bool Wait(Condition condition) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, 10s, condition);
    }
    bool WaitForEvents(const std::string& events) {
        const bool seen = Wait([&] { return events_ == events; });
        const std::lock_guard lock(mutex_);
        EXPECT_EQ(events_, events);
        return seen;
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
    EXPECT_TRUE(WaitForEvents("0:0 "));
    EXPECT_TRUE(Wait([&] { return frames_ >= 1; }));
    const int before = frames_;
    const auto begin = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(500ms);
    const int count = frames_ - before;
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
    EXPECT_LE(count, elapsed.count() * 100.0 + 1.0);
    EXPECT_GE(count, 10); // a busy machine may leave out many

    EXPECT_EQ(kirocamera_sim_command("rate 0"), 0);
    EXPECT_EQ(kirocamera_sim_command("error -3"), 0); // its handler waits for a frame
    std::this_thread::sleep_for(100ms);
    const int stopped = frames_;
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(frames_, stopped);
    EXPECT_EQ(kirocamera_sim_frame(), 0); // while the event thread is inside of the handler
    EXPECT_TRUE(WaitForEvents("0:0 2:-3 "));
}

TEST_F(CameraThreads, CameraThatComesDuringRegistrationIsReportedOnce) {
    holdFrames_ = true; // and with them the handler of the error, which waits for the next frame
    Create();
    EXPECT_TRUE(Wait([&] { return frames_ == 1; }));
    for (const char* line : {"error -3", "disconnect", "connect"})
        EXPECT_EQ(kirocamera_sim_command(line), 0);
    kirocamera_manager_register_event_callback(manager_, OnEvent, this);
    EXPECT_EQ(kirocamera_sim_command("error -4"), 0);
    {
        const std::lock_guard lock(mutex_);
        holdFrames_ = false;
        changed_.notify_all();
    }
    EXPECT_TRUE(WaitForEvents("0:0 2:-3 1:0 0:0 2:-4 "));
}

TEST_F(CameraThreads, StoppingDoesNotWaitForAFrameCallback) {
    holdFrames_ = true;
    Create();
    EXPECT_TRUE(Wait([&] { return frames_ == 1; })); // its callback is still running
    std::atomic<bool> stopped = false;
    std::thread stopper([&] {
        kirocamera_capture_session_stop(kirocamera_sim_get_camera());
        const std::lock_guard lock(mutex_);
        stopped = true;
        changed_.notify_all();
    });
    {
        std::unique_lock lock(mutex_);
        EXPECT_TRUE(changed_.wait_for(lock, 5s, [&] { return stopped.load(); }));
        holdFrames_ = false;
        changed_.notify_all();
    }
    stopper.join();
}

TEST_F(CameraThreads, ControlPipeSurvivesWhateverIsWrittenToIt) {
    const vantorel::test::TemporaryDirectory directory;
    const std::string path = directory / "camera";
    setenv("KIROCAMERA_SIM_CONTROL", path.c_str(), 1);
    setenv("KIROCAMERA_SIM_CONNECTED", "0", 1);
    Create();
    const auto write = [&path](const std::string& text) {
        const int pipe = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
        ASSERT_GE(pipe, 0);
        EXPECT_EQ(::write(pipe, text.data(), text.size()), static_cast<ssize_t>(text.size()));
        ::close(pipe);
    };
    testing::internal::CaptureStderr();
    write("disconnect\n\x1b[2Jnonsense\n" + std::string(1000, 'x') + "\nconn");
    write("ect\n");
    EXPECT_TRUE(WaitForEvents("0:0 "));
    write("error -7\r\n  error 12 \n\nerror 99999999999\ndisconnect\nconnect\n");
    EXPECT_TRUE(WaitForEvents("0:0 2:-7 2:12 1:0 0:0 "));
    Destroy();
    const std::string messages = testing::internal::GetCapturedStderr();
    EXPECT_NE(messages.find("ignored command: ?[2Jnonsense\n"), std::string::npos) << messages;
    EXPECT_NE(messages.find("overlong"), std::string::npos) << messages;
    EXPECT_NE(messages.find("ignored command: error 99999999999\n"), std::string::npos) << messages;
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(CameraThreads, NothingIsLeftBehind) {
    const vantorel::test::TemporaryDirectory directory;
    const std::string path = directory / "camera";
    setenv("KIROCAMERA_SIM_CONTROL", path.c_str(), 1);
    const std::size_t threads = Entries("/proc/self/task");
    const std::size_t descriptors = Entries("/proc/self/fd");
    for (int i = 0; i < 20; ++i) {
        Create();
        EXPECT_EQ(Entries("/proc/self/fd"), descriptors + 2);
        Destroy();
    }
    EXPECT_EQ(Entries("/proc/self/fd"), descriptors);
    // The kernel lists a thread for a moment after it was joined.
    for (int i = 0; i < 100 && Entries("/proc/self/task") > threads; ++i)
        std::this_thread::sleep_for(10ms);
    EXPECT_EQ(Entries("/proc/self/task"), threads);

    // Something else in the pipe's place is neither read nor removed.
    ::close(::open(path.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
    testing::internal::CaptureStderr();
    Create();
    Destroy();
    EXPECT_NE(testing::internal::GetCapturedStderr().find("not a pipe"), std::string::npos);
    EXPECT_TRUE(std::filesystem::exists(path));
}

} // namespace
