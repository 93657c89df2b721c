#include "vantorel/ui/UserInterfaceManager.h"

#include "tests/devices/FakeCard.h"
#include "tests/support/CameraSimulator.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/UISimulator.h"
#include "tests/support/Unused.h"
#include "tests/ui/DeviceFiles.h"
#include "vantorel/camera/CameraManager.h"
#include "vantorel/devices/Button.h"
#include "vantorel/devices/LCD.h"
#include "vantorel/devices/Torch.h"
#include "vantorel/logger/LoggerEntry.h"
#include "vantorel/service/Error.h"
#include "vantorel/ui/Version.h"

#include <csignal>
#include <functional>
#include <future>
#include <optional>
#include <thread>

#include <dlfcn.h>

/** What the UI library does before it shows the thermal screen. */
static std::function<void()> beforeThermalScreen = [] {};

// In the place of the simulator's, which it calls.
void SelectTIScreen(void) {
    beforeThermalScreen();
    reinterpret_cast<void (*)()>(::dlsym(RTLD_NEXT, __func__))();
}

namespace vantorel {
namespace {

using test::Unused;
using testing::ElementsAre;
using State = UserInterfaceState;

struct Requests final : UserInterfaceObserver {
    void OnUserInterfacePowerOffRequest() override {
        log.push_back("off");
        if (log.size() > 1) {
            throw Error(ENOSPC);
        }
    }
    void OnUserInterfaceTorchOnRequest() override { log.push_back("torch on"); }
    void OnUserInterfaceTorchOffRequest() override { log.push_back("torch off"); }
    void OnUserInterfacePowerButtonDoubleClick() override { log.push_back("power double"); }
    void OnUserInterfaceTorchButtonDoubleClick() override { log.push_back("torch double"); }
    std::vector<std::string> log;
};

class UserInterfaceManagerTest : public testing::Test {
protected:
    void SetUp() override {
        VANTOREL_NEED_PRIVATE_MOUNTS();
        test::ReplaceDeviceFiles("REV-6\n", "1.5.0\n");
        output.emplace();
        manager.emplace();
        manager->AddObserver(requests);
    }
    /** Connects a camera that delivers frames to the manager and starts its session. */
    void StartCamera() {
        camera.AddObserver(*manager);
        camera.Start();
        sdk.Connect();
        camera.OnConnectionStateChanged(ConnectionState::NoHost, ConnectionState::Undetermined);
        ui.Calls();
    }

    std::optional<test::CapturedOutput> output; // begins when the temporary directory is ours
    test::RecordedUI ui;
    test::ManualCamera sdk;
    CameraManager camera{0};
    std::optional<UserInterfaceManager> manager;
    Requests requests;
};

TEST_F(UserInterfaceManagerTest, ShowsIdentityThenRegistersFourEventsThenTheSplashScreen) {
    EXPECT_THAT(ui.Calls(), ElementsAre("SetSKU 0", "SetVersion 32.27.1.5", "RegisterUIEvent 0 *",
                                        "RegisterUIEvent 1 *", "RegisterUIEvent 2 *",
                                        "RegisterUIEvent 3 *", "SelectSplashScreen 0"));
}

TEST_F(UserInterfaceManagerTest, KnowsTheTransitionsBetweenScreensAndNoOthers) {
    // From None (never seen outside), Splash, ThermalImaging, Charging, Update, Fault.
    static constexpr std::string_view reached[] = {"", "2345", "345", "5", "5", "5"};
    for (std::size_t from = 1; from <= 5; ++from) {
        for (std::size_t to = 0; to <= 5; ++to) {
            vantorelui_sim_reset();
            UserInterfaceManager fresh;
            fresh.TransitionToState(static_cast<State>(from));
            fresh.TransitionToState(static_cast<State>(to));
            const bool allowed = reached[from].find(std::to_string(to)) != std::string_view::npos;
            EXPECT_EQ(fresh.State(), static_cast<State>(allowed ? to : from)) << from << ">" << to;
            EXPECT_EQ(vantorelui_sim_screen(), static_cast<int>(fresh.State()));
        }
    }
}

// The library may raise the user's request while it changes screens, and the charger be plugged in
// on another thread.
TEST_F(UserInterfaceManagerTest, ShowsTheScreenOfItsStateWhoeverChangesItMeanwhile) {
    beforeThermalScreen = [this] {
        EXPECT_EQ(manager->State(), State::ThermalImaging);
        manager->TransitionToState(State::Splash); // refused
        manager->TransitionToState(State::Update);
        EXPECT_EQ(vantorelui_sim_screen(), VANTORELUI_SIM_SCREEN_UPDATE);
    };
    manager->TransitionToState(State::ThermalImaging);
    EXPECT_EQ(manager->State(), State::Update);
    EXPECT_EQ(vantorelui_sim_screen(), VANTORELUI_SIM_SCREEN_UPDATE);

    manager.emplace();
    std::promise<void> selecting;
    std::promise<void> go;
    beforeThermalScreen = [&] {
        selecting.set_value();
        go.get_future().wait();
    };
    const auto frame =
        std::async(std::launch::async, [&] { manager->TransitionToState(State::ThermalImaging); });
    selecting.get_future().wait();
    const auto charger =
        std::async(std::launch::async, [&] { manager->TransitionToState(State::Charging); });
    EXPECT_EQ(charger.wait_for(std::chrono::milliseconds(30)), std::future_status::timeout);
    go.set_value();
    charger.wait();
    EXPECT_EQ(manager->State(), State::Charging);
    EXPECT_EQ(vantorelui_sim_screen(), VANTORELUI_SIM_SCREEN_CHARGING);
    beforeThermalScreen = [] {};
}

TEST_F(UserInterfaceManagerTest, FollowsConnectionStatesAndAsksForPowerOffWhenUnplugged) {
    const struct {
        int from, to;
        State screen;
    } changes[] = {{0, 1, State::Splash}, {0, 3, State::Splash}, {1, 2, State::Charging},
                   {2, 1, State::Splash}, {0, 4, State::Update}, {2, 5, State::Fault}};
    for (const auto& [from, to, screen] : changes) {
        UserInterfaceManager fresh;
        Requests heard;
        fresh.AddObserver(heard);
        fresh.OnConnectionStateChanged(static_cast<ConnectionState>(to),
                                       static_cast<ConnectionState>(from));
        EXPECT_EQ(fresh.State(), screen) << from << ">" << to;
        EXPECT_EQ(heard.log.size(), from == 2 && to == 1 ? 1U : 0U) << from << ">" << to;
    }
}

TEST_F(UserInterfaceManagerTest, PassesTheLibrarysEventsOnWithWhatObserversThrow) {
    for (const int event : {2, 0, 1, 3}) {
        vantorelui_sim_event(event);
    }
    UserInterfaceManager::PowerButtonDoubleClick(&*manager);
    UserInterfaceManager::TorchButtonDoubleClick(&*manager);
    EXPECT_THAT(requests.log,
                ElementsAre("off", "torch on", "torch off", "power double", "torch double"));
    EXPECT_EQ(test::ReadFile("/tmp/var/units"), "C");
    EXPECT_THROW(vantorelui_sim_event(VANTORELUI_EVENT_POWER_OFF), Error);
}

// Nobody knows what an LED shows that has refused a click. The supervisor starts the application
// anew, which reads it.
TEST_F(UserInterfaceManagerTest, EndsTheProcessWhenTheLedRefusesAClick) {
    GTEST_FLAG_SET(death_test_style, "fast"); // the process stays in its namespaces
    test::WriteFile("/tmp/torch/brightness", "0");
    Torch torch("torch", "/tmp/torch/");
    manager->AddObserver(torch);
    Button button("vantorel.button.torch", "/dev/null", 1);
    const auto click = [&] {
        manager->OnButtonDown(button);
        manager->OnButtonUp(button);
    };
    click();
    EXPECT_EQ(test::ReadFile("/tmp/torch/brightness"), "01");
    test::ScopedSys sys;
    sys->Write = [](auto...) { return test::FailWith(EIO); };
    EXPECT_EXIT(click(), testing::KilledBySignal(SIGABRT), "");
}

// The board's limit: tests/device/day.console.
TEST_F(UserInterfaceManagerTest, JudgesOverheatingInclusivelyAndTakesTheTorchsHeatOut) {
    const auto overheats = [this](float battery) {
        manager->OnFuelGaugeTemperatureQuery(Unused<FuelGauge>(), battery);
        return ui.Calls().back() == "SetOverheatingState 1";
    };
    EXPECT_FALSE(overheats(64.9F));
    EXPECT_TRUE(overheats(65.0F));
    manager->OnTorchOn(Unused<Torch>());
    EXPECT_FALSE(overheats(69.4F)) << "of its own it has less than 65";
    EXPECT_TRUE(overheats(70.5F));
    manager->OnTorchOff(Unused<Torch>());
    EXPECT_TRUE(overheats(69.4F));
}

TEST_F(UserInterfaceManagerTest, PushesHeaderTemperaturesOfEveryFifthFrameFromAnyAddress) {
    StartCamera();
    // The screen changes on the first frame even when it cannot be converted and does not count.
    kirocamera_sim_set_result("kirocamera_frame_get_frame_by_format", -3);
    sdk.Frame();
    EXPECT_THAT(ui.Calls(), ElementsAre("SetTemperatureUnits 1", "SelectTIScreen 0"));
    kirocamera_sim_set_result("kirocamera_frame_get_frame_by_format", 0);
    kirocamera_sim_set_misalignment(3);
    const float spot = -7.25F;
    kirocamera_sim_set_header(131, &spot, sizeof spot);
    for (float environment = 20.5F; environment < 26; ++environment) {
        kirocamera_sim_set_header(107, &environment, sizeof environment);
        sdk.Frame();
    }
    EXPECT_THAT(ui.Calls(), ElementsAre("SetEnvironmentTemp 20.5", "SetReadoutTemp -7.25",
                                        "SetEnvironmentTemp 25.5", "SetReadoutTemp -7.25"));
}

/** Tells the manager of every frame on two threads at once. */
struct Twice final : CameraObserver {
    void OnCameraFrameAvailable(Camera& camera, kirocamera_frame_t* frame) override {
        const std::jthread second([&] { manager->OnCameraFrameAvailable(camera, frame); });
        manager->OnCameraFrameAvailable(camera, frame);
    }
    UserInterfaceManager* manager = nullptr;
};

// Meant for the thread sanitizer.
TEST_F(UserInterfaceManagerTest, TakesFramesThatOverlap) {
    Twice twice;
    twice.manager = &*manager;
    camera.AddObserver(twice);
    camera.Start();
    sdk.Connect();
    camera.OnConnectionStateChanged(ConnectionState::NoHost, ConnectionState::Undetermined);
    ui.Calls();
    sdk.Frame(); // the first two
    sdk.Frame();
    sdk.Frame(); // the sixth among them
    EXPECT_THAT(ui.Calls(), ElementsAre("SetTemperatureUnits 1", "SelectTIScreen 0",
                                        testing::StartsWith("SetEnvironmentTemp"),
                                        testing::StartsWith("SetReadoutTemp"),
                                        testing::StartsWith("SetEnvironmentTemp"),
                                        testing::StartsWith("SetReadoutTemp")));
}

TEST_F(UserInterfaceManagerTest, TellsChipUpdateAndDebugTexts) {
    kirocamera_sim_identity_t identity;
    kirocamera_sim_get_identity(&identity);
    std::ranges::fill(identity.chip_id, 'A'); // no terminator
    kirocamera_sim_set_identity(&identity);
    camera.AddObserver(*manager);
    camera.Start();
    ui.Calls();
    sdk.Connect();
    auto& update = Unused<FirmwareUpdateManager>();
    Error error(EBADE);
    LoggerEntry entry;
    manager->OnFirmwareUpdateBegin(update);
    manager->OnFirmwareUpdateInProgress(update, 75);
    manager->OnFirmwareUpdateComplete(update);
    manager->OnFirmwareUpdateError(update, error);
    manager->OnLoggerNewEntry(Unused<Logger>(), entry);
    EXPECT_THAT(ui.Calls(),
                ElementsAre("SetChipID AAAAAAAAAAAAAAA", "SetUpdateProgress 0",
                            "SetUpdateUploading 0", "SetUpdateProgress 75", "SetUpdateComplete 1",
                            "SetUpdateComplete 0",
                            testing::StartsWith("SetDebugInfo UPTIME: 0 ns\nCID: \nNFIELD: 0\n")));
}

/** With a display whose kernel side is scripted, 48 by 64 pixels. */
class DrawingTest : public UserInterfaceManagerTest {
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
    EXPECT_THROW(sdk.Disconnect(), std::bad_cast); // the manager is no camera
    vantorelui_sim_set_render_image(nullptr);
    EXPECT_THAT(Draw(), testing::Each(7U));
    EXPECT_THAT(ui.Calls(), ElementsAre("Render 0"));
}

TEST_F(DrawingTest, DoesNotHoldUpALeavingCameraWhileThePictureIsRendered) {
    std::promise<void> gates[2]; // into the rendering and out of it
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
    EXPECT_THROW(sdk.Disconnect(), std::bad_cast); // returns, with the picture still unfinished
    gates[1].set_value();
}

std::string SkuAndVersion() {
    const Version version;
    try {
        return version.Sku() + " " + VersionText(version);
    } catch (const std::logic_error&) { // invalid_argument, out_of_range
        return version.Sku() + " throws";
    }
}

TEST(Version, IsFormedOfTheIdentityFiles) {
    VANTOREL_NEED_PRIVATE_MOUNTS();
    const std::array<const char*, 4> devices[] = {
        // What the files hold: the SKU, the board's revision, the version.
        {"", "REV-4\n", "1.5.0\n", "ZT-MMQX 30.27.1.5"}, // the first board names its SKU
        {"AB-1\nrest\n", "REV-4", "1.5.0", "AB-1 30.27.1.5"},
        {"", "REV-6", "300.2.9", " 32.27.44.2"}, // components are bytes
        {"", "REV-6", "-1.07.9", " 32.27.255.7"},
        {"", "REV-4 \n", "1.5.0", " throws"},
        {"", "REV-6\n", "15\n", " throws"}, // no dot
        {"", "REV-6\n", "99999999999.1.0", " throws"},
    };
    for (const auto& [sku, revision, version, expected] : devices) {
        test::ReplaceDeviceFiles(revision, version);
        test::WriteFile("/tmp/var/sku", sku);
        EXPECT_EQ(SkuAndVersion(), expected);
    }
}

} // namespace
} // namespace vantorel
