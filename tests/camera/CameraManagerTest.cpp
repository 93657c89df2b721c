// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/camera/CameraManager.h"

#include "tests/support/CameraSimulator.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/Unused.h"
#include "vantorel/camera/Camera.h"
#include "vantorel/camera/CameraError.h"

#include <gmock/gmock.h>

#include <future>
#include <optional>
#include <thread>
#include <utility>

#include <dlfcn.h>

static std::optional<int> sensorMode;

// Replaces the simulator's function, which knows two modes only.
kirocamera_error_t kirocamera_get_sensor_mode(kirocamera_t* camera, int* mode) {
    if (sensorMode) {
        *mode = *sensorMode;
        return 0;
    }
    using Function = decltype(&kirocamera_get_sensor_mode);
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, __func__))(camera, mode);
}

static vantorel::CameraManager* managerInDestruction;

// Delivers one more frame before it ends the SDK's callbacks, as the SDK may.
void kirocamera_manager_destroy(kirocamera_manager_t* manager) {
    if (managerInDestruction != nullptr) {
        vantorel::CameraManager::FrameAvailable(nullptr, nullptr,
                                                std::exchange(managerInDestruction, nullptr));
    }
    using Function = decltype(&kirocamera_manager_destroy);
    reinterpret_cast<Function>(::dlsym(RTLD_NEXT, __func__))(manager);
}

namespace vantorel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;

/** Records its notifications. */
class Recorder final : public CameraObserver {
public:
    Recorder(std::vector<std::string>& into, std::string as) : log(into), name(std::move(as)) {}
    void OnCameraConnect(Camera&) override { Heard("connect"); }
    void OnCameraDisconnect(Camera&) override { Heard("disconnect"); }
    void OnCameraCaptureSessionStart(Camera&) override { Heard("start"); }
    void OnCameraCaptureSessionStop(Camera&) override { Heard("stop"); }
    void OnCameraFrameAvailable(Camera&, kirocamera_frame_t*) override { Heard("frame"); }
    void OnCameraError(Camera&, int error) override { Heard("error " + std::to_string(error)); }

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
    /** Delivers a frame without the SDK: neither camera nor session is needed. */
    void Frame() { CameraManager::FrameAvailable(nullptr, nullptr, &manager); }

    test::CapturedOutput output;
    test::ManualCamera sdk;
    CameraManager manager{7};
    std::vector<std::string> log;
    Recorder a{log, "a"};
    Recorder b{log, "b"};
};

TEST(CameraManagerFailure, CarriesTheCodeAndTextOfTheSDK) {
    test::ManualCamera sdk;
    for (const char* refused :
         {"kirocamera_manager_create", "kirocamera_manager_register_event_callback"}) {
        kirocamera_sim_set_result(refused, -5);
        EXPECT_THAT([] { CameraManager(0).Start(); },
                    testing::Throws<CameraError>(testing::AllOf(
                        testing::Property(&Error::Value, -5),
                        testing::Property(&Error::ToString, "Unknown error -5"),
                        testing::Property(&CameraError::Text, kirocamera_error_get_str(-5)))));
        kirocamera_sim_set_result(refused, 0);
    }
}

TEST_F(CameraManagerTest, NotifiesObserversInOrderOfRegistrationAndTheCameraLast) {
    manager.AddObserver(a);
    manager.AddObserver(b);
    EXPECT_THAT(sdk.Calls("kirocamera_manager_create"),
                ElementsAre(testing::HasSubstr("7"))); // the discovery method
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

TEST_F(CameraManagerTest, IgnoresEventsWithoutACameraAndASecondCamera) {
    sdk.Connect();
    sdk.Disconnect(); // the camera is the only observer, so the next one may connect
    manager.AddObserver(a);
    sdk.Disconnect();
    sdk.Fail(-1);
    Frame();
    Enter(ConnectionState::Battery);
    EXPECT_THAT(log, IsEmpty());
    sdk.Connect();
    sdk.Connect();
    CameraManager::Event(kirocamera_sim_get_camera(), 3, -1, &manager); // no such event
    // A camera stays connected when an observer of its disconnect is not a camera.
    EXPECT_THROW(sdk.Disconnect(), std::bad_cast);
    sdk.Connect();
    EXPECT_THAT(log, ElementsAre("a connect", "a disconnect"));
}

TEST_F(CameraManagerTest, RemovesACameraThatPrecedesTheObserverThatEndsADisconnect) {
    sdk.Connect();
    manager.AddObserver(a);
    EXPECT_THROW(sdk.Disconnect(), std::bad_cast);
    Frame();
    EXPECT_THAT(log, ElementsAre("a disconnect", "a frame"));
    EXPECT_EQ(output.Take(), "") << "the camera is still notified of frames";
}

TEST_F(CameraManagerTest, DoesNotReportACameraThatRefusesTheFrameCallback) {
    manager.AddObserver(a);
    kirocamera_sim_set_result("kirocamera_register_frame_available_callback", -2);
    EXPECT_THROW(sdk.Connect(), CameraError);
    sdk.Connect(); // ignored: the camera is already current
    EXPECT_THAT(log, IsEmpty());
    Frame();
    EXPECT_THAT(log, ElementsAre("a frame"));
    EXPECT_EQ(output.Take(), "") << "the camera itself is not notified of frames";
}

TEST_F(CameraManagerTest, RunsASessionOnBatteryAndWithoutAHostAndRecoversOnlyOnBattery) {
    manager.AddObserver(a);
    sdk.Connect();
    for (const int state : {0, 1, 2, 3, 4, 5}) {
        kirocamera_sim_clear_log();
        Enter(static_cast<ConnectionState>(state));
        EXPECT_EQ(output.Take(),
                  "CAMERA: CONNECTION_STATE_CHANGED " + std::to_string(state) + "\n");
        EXPECT_THAT(sdk.Calls("kirocamera_capture_session_start"), SizeIs(state == 1 || state == 3))
            << "state " << state;
        Frame();
        sdk.Fail(-4);
        output.Take();
        EXPECT_THAT(sdk.Calls("kirocamera_capture_session_stop"), SizeIs(state == 1)) << state;
    }
    // A failed call of the SDK is not reported.
    kirocamera_sim_set_result("kirocamera_capture_session_start", -4);
    kirocamera_sim_set_result("kirocamera_capture_session_stop", -4);
    log.clear();
    Enter(ConnectionState::Battery);
    sdk.Fail(-4);
    EXPECT_THAT(log, ElementsAre("a error -4"));
}

TEST_F(CameraManagerTest, EachStopOfASessionWaitsForANewFrame) {
    auto& gadget = test::Unused<USBGadget>();
    manager.AddObserver(a);
    sdk.Connect();
    Enter(ConnectionState::NoHost);
    const auto stops = [&] {
        return std::async(std::launch::async,
                          [&] { manager.OnUSBGadgetStopCaptureSessionRequest(gadget); });
    };
    const auto stop = stops();
    EXPECT_EQ(stop.wait_for(std::chrono::milliseconds(30)), std::future_status::timeout);
    EXPECT_THAT(sdk.Calls("kirocamera_capture_session_stop"), IsEmpty());
    sdk.Frame();
    stop.wait();
    manager.OnUSBGadgetStartCaptureSessionRequest(gadget);
    EXPECT_THAT(log, ElementsAre("a connect", "a start", "a frame", "a stop", "a start"));

    // Two frames are enough for two stops and not for a third.
    Frame();
    Frame();
    manager.OnUSBGadgetStopCaptureSessionRequest(gadget);
    manager.OnUSBGadgetStopCaptureSessionRequest(gadget);
    const auto third = stops();
    EXPECT_EQ(third.wait_for(std::chrono::milliseconds(30)), std::future_status::timeout);
    Frame();
}

TEST_F(CameraManagerTest, PrintsTheFrameRateOnTheFirstAndEveryThousandthFrameOfASession) {
    using Clock = std::chrono::system_clock;
    const auto perSecond = [](int frames, Clock::duration time) {
        return frames / std::chrono::duration<double>(time).count();
    };
    sdk.Connect();
    for (int session = 0; session < 2; ++session) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        const auto before = Clock::now();
        Enter(ConnectionState::Battery);
        const auto started = Clock::now();
        output.Take();
        int total = 0;
        for (const int frames : {1, 999, 1}) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            const auto last = Clock::now();
            for (int frame = 0; frame < frames; ++frame) {
                Frame();
            }
            total += frames;
            const std::string printed = output.Take();
            if (frames != 1) {
                EXPECT_EQ(printed, "");
                continue;
            }
            ASSERT_THAT(printed, MatchesRegex("FPS: [0-9.e+]+\n"));
            const double rate = std::stod(printed.substr(5));
            EXPECT_GT(rate, 0.99 * perSecond(total, Clock::now() - before));
            EXPECT_LT(rate, 1.01 * perSecond(total, last - started));
        }
    }
}

TEST(CameraManagerEnd, StillDeliversFramesUntilTheSDKsCallbacksHaveEnded) {
    test::CapturedOutput output;
    test::ManualCamera sdk;
    std::vector<std::string> log;
    Recorder a(log, "a");
    {
        CameraManager manager(0);
        manager.AddObserver(a);
        manager.Start();
        sdk.Connect();
        managerInDestruction = &manager;
    }
    EXPECT_THAT(log, ElementsAre("a connect", "a frame"));
}

TEST_F(CameraManagerTest, DoubleClicksToggleSensorModeAndDebugDisplay) {
    sdk.Connect();
    for (int click = 0; click < 2; ++click) {
        manager.OnUserInterfacePowerButtonDoubleClick();
        manager.OnUserInterfaceTorchButtonDoubleClick();
    }
    kirocamera_sim_set_result("kirocamera_get_sensor_mode", -1);
    manager.OnUserInterfacePowerButtonDoubleClick();
    sensorMode = 2; // of a camera that has more modes
    manager.OnUserInterfacePowerButtonDoubleClick();
    sensorMode.reset();
    for (const std::string function :
         {"kirocamera_set_sensor_mode", "kirocamera_set_debug_display_mode"}) {
        EXPECT_THAT(sdk.Calls(function),
                    ElementsAre(function + "(camera1, 1)", function + "(camera1, 0)"));
    }
}

// No camera or observer list may be freed during a frame or a request, even when frames overlap on
// two SDK threads. For the thread and address sanitizers.
TEST_F(CameraManagerTest, SurvivesConcurrentConnectsFramesAndRequests) {
    const auto forever = [](auto action) {
        return std::jthread([action](const std::stop_token& end) {
            while (!end.stop_requested()) {
                action();
            }
        });
    };
    const auto frames = forever([&] { Frame(); });
    const auto overlapping = forever([&] { Frame(); });
    const auto requests = forever([&] {
        Enter(ConnectionState::Battery);
        manager.OnUserInterfaceTorchButtonDoubleClick();
    });
    for (int round = 0; round < 200; ++round) {
        sdk.Connect();
        sdk.Disconnect();
    }
}

} // namespace
} // namespace vantorel
