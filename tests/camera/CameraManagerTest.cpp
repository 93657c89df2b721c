#include "vantorel/camera/CameraManager.h"

#include "tests/support/CameraSimulator.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/Unused.h"
#include "vantorel/camera/Camera.h"
#include "vantorel/camera/CameraError.h"

#include <gmock/gmock.h>

#include <chrono>
#include <functional>
#include <future>
#include <thread>

namespace vantorel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

/** Writes down what it is told. */
class Recorder final : public CameraObserver {
public:
    Recorder(std::vector<std::string>& into, std::string as) : log(into), name(std::move(as)) {}
    void OnCameraConnect(Camera&) override { Heard("connect"); }
    void OnCameraDisconnect(Camera&) override { Heard("disconnect"); }
    void OnCameraCaptureSessionStart(Camera&) override { Heard("start"); }
    void OnCameraCaptureSessionStop(Camera&) override { Heard("stop"); }
    void OnCameraFrameAvailable(Camera&, kirocamera_frame_t*) override { Heard("frame"); }
    void OnCameraError(Camera&, kirocamera_error_t error) override {
        Heard("error " + std::to_string(error));
    }

private:
    void Heard(const std::string& what) { log.push_back(name + " " + what); }
    std::vector<std::string>& log;
    std::string name;
};

class CameraManagerTest : public testing::Test {
protected:
    CameraManagerTest() { manager.Start(); }

    void Enter(ConnectionState state) {
        manager.OnConnectionStateChanged(state, ConnectionState::Undetermined);
    }

    test::CapturedOutput output;
    test::ManualCamera sdk;
    CameraManager manager{7};
    std::vector<std::string> log;
    Recorder a{log, "a"};
    Recorder b{log, "b"};
};

TEST(CameraManagerFailure, CarriesTheCodeAndTextOfTheSDK) {
    test::ManualCamera sdk;
    kirocamera_sim_set_result("kirocamera_manager_create", -5);
    try {
        CameraManager manager(0);
        FAIL() << "a manager without an SDK";
    } catch (const CameraError& error) {
        EXPECT_EQ(error, Error(-5));
        EXPECT_EQ(error.Text(), kirocamera_error_get_str(-5));
        EXPECT_EQ(static_cast<const Error&>(error).ToString(), "Unknown error -5");
    }
    kirocamera_sim_set_result("kirocamera_manager_create", 0);
    kirocamera_sim_set_result("kirocamera_manager_register_event_callback", -6);
    CameraManager manager(0);
    EXPECT_THROW(manager.Start(), CameraError);
}

TEST_F(CameraManagerTest, TellsEventsAndFramesInOrderOfRegistrationAndTheCameraLast) {
    manager.AddObserver(a);
    manager.AddObserver(b);
    sdk.Connect();
    EXPECT_THAT(sdk.Calls("kirocamera_set_display_mode"),
                ElementsAre("kirocamera_set_display_mode(camera1, 4)"));
    Enter(ConnectionState::Battery);
    sdk.Frame();
    sdk.Fail(-3);
    EXPECT_THAT(log,
                ElementsAre("a connect", "b connect", "a start", "b start", "a frame", "b frame",
                            "a error -3", "b error -3", "a stop", "b stop", "a start", "b start"));
}

TEST_F(CameraManagerTest, IgnoresWhatComesWithoutACameraAndASecondCamera) {
    sdk.Connect();
    sdk.Disconnect(); // with nothing but the camera to observe it, it goes, and the next may come
    manager.AddObserver(a);
    sdk.Disconnect();
    sdk.Fail(-1);
    CameraManager::Event(nullptr, 3, 0, &manager);
    CameraManager::FrameAvailable(nullptr, nullptr, &manager);
    Enter(ConnectionState::Battery);
    manager.OnUserInterfacePowerButtonDoubleClick();
    EXPECT_THAT(log, IsEmpty());
    sdk.Connect();
    sdk.Connect();
    EXPECT_THAT(log, ElementsAre("a connect"));
    // A camera stays when its disconnect meets an observer that is no camera.
    EXPECT_THROW(sdk.Disconnect(), std::bad_cast);
    sdk.Connect();
    EXPECT_THAT(log, ElementsAre("a connect", "a disconnect"));
}

TEST_F(CameraManagerTest, TellsNobodyOfACameraThatRefusesTheFrameCallback) {
    manager.AddObserver(a);
    kirocamera_sim_set_result("kirocamera_register_frame_available_callback", -2);
    EXPECT_THROW(sdk.Connect(), CameraError);
    sdk.Connect(); // ignored: the camera is current all the same
    EXPECT_THAT(log, IsEmpty());
    CameraManager::FrameAvailable(nullptr, nullptr, &manager);
    EXPECT_THAT(log, ElementsAre("a frame"));
    EXPECT_EQ(output.Take(), "") << "the camera itself is not told of frames";
}

TEST_F(CameraManagerTest, StartsTheSessionOnBatteryAndWithoutHostOnly) {
    sdk.Connect();
    for (const int state : {0, 1, 2, 3, 4, 5}) {
        Enter(static_cast<ConnectionState>(state));
        EXPECT_EQ(output.Take(),
                  "CAMERA: CONNECTION_STATE_CHANGED " + std::to_string(state) + "\n");
        EXPECT_THAT(sdk.Calls("kirocamera_capture_session_start"), SizeIs(state == 1 || state == 3))
            << "state " << state;
        kirocamera_sim_clear_log();
    }
}

TEST_F(CameraManagerTest, RecoversFromErrorsOnBatteryOnlyAndSwallowsFailuresOfTheSession) {
    manager.AddObserver(a);
    sdk.Connect();
    Enter(ConnectionState::Battery);
    sdk.Frame();
    Enter(ConnectionState::BatteryCharger);
    log.clear();
    sdk.Fail(-4);
    EXPECT_THAT(log, ElementsAre("a error -4"));
    kirocamera_sim_set_result("kirocamera_capture_session_start", -4);
    kirocamera_sim_set_result("kirocamera_capture_session_stop", -4);
    Enter(ConnectionState::Battery);
    sdk.Fail(-4);
    EXPECT_THAT(log, ElementsAre("a error -4", "a error -4"));
}

TEST_F(CameraManagerTest, StopsOnlyAfterAFrameThatNoOtherStopHasUsed) {
    auto& gadget = test::Unused<USBGadget>();
    manager.AddObserver(a);
    sdk.Connect();
    Enter(ConnectionState::NoHost);
    const auto stop = std::async(std::launch::async,
                                 [&] { manager.OnUSBGadgetStopCaptureSessionRequest(gadget); });
    EXPECT_EQ(stop.wait_for(std::chrono::milliseconds(30)), std::future_status::timeout);
    EXPECT_THAT(sdk.Calls("kirocamera_capture_session_stop"), IsEmpty());
    sdk.Frame();
    stop.wait();
    EXPECT_THAT(sdk.Calls("kirocamera_capture_session_stop"), SizeIs(1));
    manager.OnUSBGadgetStartCaptureSessionRequest(gadget);
    EXPECT_THAT(log, ElementsAre("a connect", "a start", "a frame", "a stop", "a start"));
}

TEST_F(CameraManagerTest, PrintsTheFrameRateOnTheFirstAndEveryThousandthFrameOfASession) {
    sdk.Connect();
    for (const int frames : {1001, 1}) { // a new session counts anew
        Enter(ConnectionState::Battery);
        output.Take();
        for (int frame = 1; frame <= frames; ++frame) {
            CameraManager::FrameAvailable(nullptr, nullptr, &manager);
            if (const std::string text = output.Take(); frame % 1000 == 1) {
                EXPECT_THAT(text, testing::MatchesRegex("FPS: [0-9.e+]+\n"));
            } else {
                ASSERT_EQ(text, "") << "frame " << frame;
            }
        }
    }
}

TEST_F(CameraManagerTest, DoubleClicksToggleSensorModeAndDebugDisplay) {
    sdk.Connect();
    manager.OnUserInterfacePowerButtonDoubleClick();
    manager.OnUserInterfacePowerButtonDoubleClick();
    kirocamera_sim_set_result("kirocamera_get_sensor_mode", -1);
    manager.OnUserInterfacePowerButtonDoubleClick();
    EXPECT_THAT(sdk.Calls("kirocamera_set_sensor_mode"),
                ElementsAre("kirocamera_set_sensor_mode(camera1, 1)",
                            "kirocamera_set_sensor_mode(camera1, 0)"));
    manager.OnUserInterfaceTorchButtonDoubleClick();
    manager.OnUserInterfaceTorchButtonDoubleClick();
    EXPECT_THAT(sdk.Calls("kirocamera_set_debug_display_mode"),
                ElementsAre("kirocamera_set_debug_display_mode(camera1, 1)",
                            "kirocamera_set_debug_display_mode(camera1, 0)"));
}

// The simulator's own threads deliver frames while other subjects connect, disconnect and request:
// no camera may be freed under any of them. Meant for the thread and address sanitizers.
TEST(CameraThreads, SurviveConnectsFramesAndRequestsAtOnce) {
    const test::CapturedOutput output;
    kirocamera_sim_reset();
    {
        CameraManager manager(0);
        manager.Start();
        const std::function<void()> actions[] = {
            [&] { CameraManager::FrameAvailable(nullptr, nullptr, &manager); },
            [&] {
                manager.OnConnectionStateChanged(ConnectionState::Battery,
                                                 ConnectionState::Undetermined);
            },
            [&] { manager.OnUserInterfaceTorchButtonDoubleClick(); },
        };
        std::vector<std::jthread> threads;
        for (const auto& action : actions) {
            threads.emplace_back([&action](const std::stop_token& end) {
                while (!end.stop_requested()) {
                    action();
                    std::this_thread::sleep_for(std::chrono::microseconds(300));
                }
            });
        }
        for (int round = 0; round < 200; ++round) {
            kirocamera_sim_event(nullptr, KIROCAMERA_EVENT_DISCONNECT, 0);
            kirocamera_sim_event(nullptr, KIROCAMERA_EVENT_CONNECT, 0);
        }
    }
    kirocamera_sim_reset();
}

} // namespace
} // namespace vantorel
