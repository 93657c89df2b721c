#include "vantorel/ui/UserInterfaceManager.h"
#include "tests/devices/FakeCard.h"
#include "tests/support/CameraSimulator.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/PrivateMounts.h"
#include "tests/support/ScriptedSys.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/UISimulator.h"
#include "tests/support/Unused.h"
#include "vantorel/camera/CameraManager.h"
#include "vantorel/devices/Button.h"
#include "vantorel/devices/LCD.h"
#include "vantorel/devices/Thermometer.h"
#include "vantorel/logger/LoggerEntry.h"
#include "vantorel/service/Error.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <thread>

namespace vantorel {
namespace {

using test::Unused;
using testing::ElementsAre;
using testing::IsEmpty;
using State = UserInterfaceState;

struct Requests final : UserInterfaceObserver {
    void OnUserInterfacePowerOffRequest() override { log.push_back("off"); }
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
        test::CoverWithTmpfs("/tmp");
        test::CoverWithTmpfs("/etc");
        output.emplace();
        std::filesystem::create_directories("/tmp/var");
        std::filesystem::create_directories("/etc/kiro");
        std::ofstream("/etc/kiro/revision") << "REV-6\n";
        std::ofstream("/etc/kiro/version") << "1.5.0\n";
        manager.emplace();
        manager->AddObserver(requests);
    }
    static std::string UnitsFile() {
        std::ifstream file("/tmp/var/units");
        return {std::istreambuf_iterator<char>(file), {}};
    }
    /** Connects a camera that delivers frames to the manager and starts its session. */
    void StartCamera() {
        camera.AddObserver(*manager);
        camera.Start();
        sdk.Connect();
        camera.OnConnectionStateChanged(ConnectionState::NoHost, ConnectionState::Undetermined);
        ui.Calls();
    }
    bool ShowsOverheating() {
        std::optional<bool> shown;
        for (const auto& call : ui.Calls()) {
            if (std::string(call.function) == "SetOverheatingState") {
                shown = call.number != 0;
            }
        }
        return shown.value();
    }

    std::optional<test::CapturedOutput> output; // begins when the temporary directory is ours
    test::RecordedUI ui;
    test::ManualCamera sdk;
    CameraManager camera{0};
    std::optional<UserInterfaceManager> manager;
    Requests requests;
};

TEST_F(UserInterfaceManagerTest, ShowsIdentityThenRegistersFourEventsThenTheSplashScreen) {
    const auto calls = ui.Calls();
    std::vector<std::string> seen;
    for (const auto& call : calls) {
        seen.push_back(std::string(call.function) + " " + call.text);
    }
    EXPECT_THAT(seen, ElementsAre("SetSKU ", "SetVersion 32.27.1.5", "RegisterUIEvent ",
                                  "RegisterUIEvent ", "RegisterUIEvent ", "RegisterUIEvent ",
                                  "SelectSplashScreen "));
    for (std::size_t event = 0; event < 4; ++event) {
        EXPECT_EQ(calls[2 + event].number, static_cast<double>(event));
        EXPECT_EQ(calls[2 + event].pointer, &*manager);
    }
    EXPECT_FALSE(vantorelui_sim_event(VANTORELUI_SIM_EVENT_POWER_DOUBLE_CLICK));
}

TEST_F(UserInterfaceManagerTest, KnowsTheTransitionsBetweenScreensAndNoOthers) {
    const std::vector<std::vector<State>> reached = {
        // from None (never seen outside), Splash, ThermalImaging, Charging, Update, Fault
        {},
        {State::ThermalImaging, State::Charging, State::Update, State::Fault},
        {State::Charging, State::Update, State::Fault},
        {State::Fault},
        {State::Fault},
        {State::Fault},
    };
    for (int from = 1; from <= 5; ++from) {
        for (int to = 0; to <= 5; ++to) {
            vantorelui_sim_reset();
            UserInterfaceManager fresh;
            fresh.TransitionToState(static_cast<State>(from));
            ASSERT_EQ(fresh.State(), static_cast<State>(from));
            fresh.TransitionToState(static_cast<State>(to));
            const bool allowed = std::ranges::count(reached[static_cast<std::size_t>(from)],
                                                    static_cast<State>(to)) > 0;
            EXPECT_EQ(fresh.State(), static_cast<State>(allowed ? to : from)) << from << ">" << to;
            EXPECT_EQ(vantorelui_sim_screen(), allowed ? to : from);
        }
    }
}

TEST_F(UserInterfaceManagerTest, FollowsConnectionStatesAndAsksForPowerOffWhenUnplugged) {
    const auto change = [&](int from, int to) {
        manager->OnConnectionStateChanged(static_cast<ConnectionState>(to),
                                          static_cast<ConnectionState>(from));
    };
    change(0, 1);
    change(0, 3);
    EXPECT_EQ(manager->State(), State::Splash);
    EXPECT_THAT(requests.log, IsEmpty());
    change(1, 2);
    EXPECT_EQ(manager->State(), State::Charging);
    change(2, 1);
    EXPECT_THAT(requests.log, ElementsAre("off"));
    EXPECT_EQ(manager->State(), State::Charging);
    change(0, 4);
    EXPECT_EQ(manager->State(), State::Charging);
    change(2, 5);
    EXPECT_EQ(manager->State(), State::Fault);
    change(1, 2);
    EXPECT_EQ(manager->State(), State::Fault);
}

TEST_F(UserInterfaceManagerTest, PassesTheLibrarysEventsOnWithWhatObserversThrow) {
    for (int event = 0; event < 3; ++event) {
        vantorelui_sim_event(event);
    }
    UserInterfaceManager::PowerButtonDoubleClick(&*manager);
    UserInterfaceManager::TorchButtonDoubleClick(&*manager);
    EXPECT_THAT(requests.log,
                ElementsAre("torch on", "torch off", "off", "power double", "torch double"));
    struct Broken final : UserInterfaceObserver {
        void OnUserInterfacePowerOffRequest() override {}
        void OnUserInterfaceTorchOnRequest() override { throw Error(ENOSPC); }
        void OnUserInterfaceTorchOffRequest() override {}
        void OnUserInterfacePowerButtonDoubleClick() override {}
        void OnUserInterfaceTorchButtonDoubleClick() override {}
    } broken;
    manager->AddObserver(broken);
    EXPECT_THROW(vantorelui_sim_event(VANTORELUI_EVENT_TORCH_ON), Error);
}

TEST_F(UserInterfaceManagerTest, ReadsUnitsOnTheThermalScreenAndTakesAllButOneLetterForFahrenheit) {
    const std::pair<const char*, int> files[] = {{"C", 0},  {"C\nF", 0},  {"F", 1}, {"c", 1},
                                                 {"CC", 1}, {"C\r\n", 1}, {"", 1},  {nullptr, 1}};
    for (const auto& [content, units] : files) {
        std::filesystem::remove("/tmp/var/units");
        if (content != nullptr) {
            std::ofstream("/tmp/var/units") << content;
        }
        UserInterfaceManager fresh;
        ui.Calls();
        fresh.TransitionToState(State::ThermalImaging);
        const auto calls = ui.Calls();
        ASSERT_EQ(calls.size(), 2U);
        EXPECT_STREQ(calls[0].function, "SetTemperatureUnits");
        EXPECT_EQ(calls[0].number, units) << (content ? content : "no file");
        EXPECT_STREQ(calls[1].function, "SelectTIScreen");
    }
}

TEST_F(UserInterfaceManagerTest, KeepsChosenUnitsAsOneLetterAndNothingForOthers) {
    for (const auto& [units, content] : {std::pair{0, "C"}, {1, "F"}, {7, ""}}) {
        SetTemperatureUnits(units);
        if (GetTemperatureUnits() == units) {
            vantorelui_sim_event(VANTORELUI_EVENT_UNITS_CHANGED);
            EXPECT_EQ(UnitsFile(), content);
        }
    }
}

TEST_F(UserInterfaceManagerTest, TellsButtonsApartByTheirExactNames) {
    for (const char* name : {"vantorel.button.power", "vantorel.button.torch",
                             "vantorel.button.reset", "vantorel.button", "Vantorel.button.power"}) {
        Button button(name, "/dev/null", 1);
        manager->OnButtonDown(button);
        manager->OnButtonUp(button);
    }
    auto names = ui.Names();
    names.erase(names.begin(), names.begin() + 7); // construction
    std::erase(names, "GetTemperatureUnits");      // the pinhole button changes the units
    EXPECT_THAT(names, ElementsAre("Button1Down", "Button1Up", "Button2Down", "Button2Up",
                                   "ButtonPinholeDown", "ButtonPinholeUp"));
}

TEST_F(UserInterfaceManagerTest, JudgesOverheatingInclusivelyAndTakesTheTorchsHeatOut) {
    Thermometer board("vantorel.thermometer.board", "/dev/null");
    Thermometer other("thermometer.board", "/dev/null");
    const auto battery = [&](float t) {
        manager->OnFuelGaugeTemperatureQuery(Unused<FuelGauge>(), t);
        return ShowsOverheating();
    };
    manager->OnThermometerTemperatureQuery(other, 200.0F);
    EXPECT_FALSE(battery(64.9F));
    EXPECT_TRUE(battery(65.0F));
    manager->OnTorchOn(Unused<Torch>());
    EXPECT_FALSE(battery(69.4F)) << "69.4 beside the lit torch are less than 65";
    EXPECT_TRUE(battery(70.5F));
    EXPECT_FALSE(battery(60.0F));
    manager->OnTorchOff(Unused<Torch>());
    EXPECT_TRUE(battery(69.4F));
    EXPECT_FALSE(battery(20.0F));
    manager->OnThermometerTemperatureQuery(board, 80.0F);
    EXPECT_TRUE(ShowsOverheating());
    manager->OnThermometerTemperatureQuery(board, 79.9F);
    EXPECT_FALSE(ShowsOverheating());
}

TEST_F(UserInterfaceManagerTest, PushesHeaderTemperaturesOfEveryFifthFrameFromAnyAddress) {
    StartCamera();
    kirocamera_sim_set_misalignment(3);
    for (int frame = 0; frame < 11; ++frame) {
        const float environment = 20.5F + static_cast<float>(frame);
        const float spot = -7.25F - static_cast<float>(frame);
        kirocamera_sim_set_header(107, &environment, sizeof environment);
        kirocamera_sim_set_header(131, &spot, sizeof spot);
        sdk.Frame();
        std::vector<double> pushed;
        for (const auto& call : ui.Calls()) {
            if (const std::string name = call.function;
                name == "SetEnvironmentTemp" || name == "SetReadoutTemp") {
                pushed.push_back(call.number);
            }
        }
        if (frame % 5 == 0) {
            EXPECT_THAT(pushed, ElementsAre(environment, spot)) << frame;
        } else {
            EXPECT_THAT(pushed, IsEmpty()) << frame;
        }
    }
}

TEST_F(UserInterfaceManagerTest, ShowsTheThermalScreenOnTheFirstFrameEvenWhenItCannotBeConverted) {
    StartCamera();
    kirocamera_sim_set_result("kirocamera_frame_get_frame_by_format", -3);
    sdk.Frame();
    EXPECT_EQ(manager->State(), State::ThermalImaging);
    kirocamera_sim_set_result("kirocamera_frame_get_frame_by_format", 0);
    ui.Calls();
    sdk.Frame(); // still the first one that counts
    EXPECT_THAT(ui.Names(), ElementsAre("SetEnvironmentTemp", "SetReadoutTemp"));
}

TEST_F(UserInterfaceManagerTest, TellsChipUpdateBatteryAndDebugTexts) {
    kirocamera_sim_identity_t identity;
    kirocamera_sim_get_identity(&identity);
    std::fill(std::begin(identity.chip_id), std::end(identity.chip_id), 'A'); // no terminator
    kirocamera_sim_set_identity(&identity);
    camera.AddObserver(*manager);
    camera.Start();
    sdk.Connect();
    EXPECT_EQ(ui.Calls().back().text, std::string(15, 'A'));
    auto& update = Unused<FirmwareUpdateManager>();
    Error error(EBADE);
    LoggerEntry entry;
    entry.batteryLevel = 9;
    manager->OnFirmwareUpdateBegin(update);
    manager->OnFirmwareUpdateInProgress(update, 75);
    manager->OnFirmwareUpdateComplete(update);
    manager->OnFirmwareUpdateError(update, error);
    manager->OnFuelGaugeLevelQuery(Unused<FuelGauge>(), 42);
    manager->OnLoggerNewEntry(Unused<Logger>(), entry);
    const auto calls = ui.Calls();
    std::vector<std::string> seen;
    for (const auto& call : calls) {
        seen.push_back(std::string(call.function) + " " +
                       std::to_string(static_cast<int>(call.number)));
    }
    EXPECT_THAT(seen, ElementsAre("SetUpdateProgress 0", "SetUpdateUploading 0",
                                  "SetUpdateProgress 75", "SetUpdateComplete 1",
                                  "SetUpdateComplete 0", "SetBatteryState 42", "SetDebugInfo 0"));
    EXPECT_THAT(calls.back().text, testing::StartsWith("UPTIME: 0 ns\nCID: \nNFIELD: 0\n"));
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

TEST_F(DrawingTest, CopiesOneWholeScreenAndNothingWhenThereIsNoImage) {
    std::vector<std::uint32_t> image(48 * 64, 0x123456);
    vantorelui_sim_set_render_image(image.data());
    auto pixels = Draw();
    EXPECT_EQ(pixels.back(), 7U);
    pixels.pop_back();
    EXPECT_EQ(pixels, image);
    vantorelui_sim_set_render_image(nullptr);
    EXPECT_THAT(Draw(), testing::Each(7U));
}

TEST_F(DrawingTest, DrawsTheNewestFrameUntilTheCameraLeaves) {
    StartCamera();
    std::vector<std::uint32_t> image(48 * 64);
    vantorelui_sim_set_render_image(image.data());
    Draw();
    EXPECT_THAT(ui.Names(), ElementsAre("Render"));
    sdk.Frame();
    // A later frame that is larger than the first one.
    kiroframe_t large{};
    large.width = 320;
    large.height = 240;
    large.channels = 1;
    large.pixel_depth = 8;
    large.line_stride = 320;
    large.pixel_size = 1;
    large.header_size = KIROCAMERA_SIM_HEADER_SIZE;
    large.data_size = 320 * 240;
    ASSERT_EQ(kirocamera_sim_set_geometry(&large), 0);
    sdk.Frame();
    ui.Calls();
    Draw();
    const auto calls = ui.Calls();
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_STREQ(calls[0].function, "UpdateThermalImage");
    EXPECT_NE(calls[0].pointer, nullptr);
    EXPECT_THROW(sdk.Disconnect(), std::bad_cast); // the manager is no camera
    Draw();
    EXPECT_THAT(ui.Names(), ElementsAre("Render"));
}

TEST_F(DrawingTest, DoesNotHoldUpALeavingCameraWhileThePictureIsRendered) {
    StartCamera();
    sdk.Frame();
    struct Barrier {
        std::atomic<bool> rendering{false};
        std::atomic<bool> goOn{false};
    } barrier;
    vantorelui_sim_set_render_hook(
        [](void* context) {
            auto& shared = *static_cast<Barrier*>(context);
            shared.rendering = true;
            shared.rendering.notify_all();
            shared.goOn.wait(false);
        },
        &barrier);
    std::vector<std::uint32_t> image(48 * 64);
    vantorelui_sim_set_render_image(image.data());
    std::thread display([&] { Draw(); });
    barrier.rendering.wait(false);
    EXPECT_THROW(sdk.Disconnect(), std::bad_cast); // returns, with the picture still unfinished
    barrier.goOn = true;
    barrier.goOn.notify_all();
    display.join();
    vantorelui_sim_set_render_hook(nullptr, nullptr);
}

} // namespace
} // namespace vantorel
