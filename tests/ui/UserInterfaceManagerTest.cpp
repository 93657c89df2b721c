// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/ui/UserInterfaceManager.h"

#include "tests/support/ScriptedSys.h"
#include "tests/support/Unused.h"
#include "tests/ui/UserInterfaceFixture.h"
#include "vantorel/devices/Button.h"
#include "vantorel/devices/Thermometer.h"
#include "vantorel/devices/Torch.h"
#include "vantorel/logger/LoggerEntry.h"

#include <chrono>
#include <csignal>
#include <functional>
#include <future>
#include <optional>
#include <string_view>
#include <thread>

#include <dlfcn.h>

/** Called before the UI library shows the thermal screen. */
static std::function<void()> beforeThermalScreen = [] {};

// Replaces the simulator's function, and calls it.
void SelectTIScreen(void) {
    beforeThermalScreen();
    reinterpret_cast<void (*)()>(::dlsym(RTLD_NEXT, __func__))();
}

/** The UI library's units, if set. */
static std::optional<int> units;

// Replaces the simulator's function, which knows two units only.
int GetTemperatureUnits(void) {
    return units ? *units : reinterpret_cast<int (*)()>(::dlsym(RTLD_NEXT, __func__))();
}

namespace vantorel {
namespace {

using test::Requests;
using test::Unused;
using test::UserInterfaceManagerTest;
using testing::ElementsAre;
using State = UserInterfaceState;

TEST_F(UserInterfaceManagerTest, SetsTheIdentityThenRegistersFourEventsThenShowsTheSplashScreen) {
    EXPECT_THAT(ui.Calls(), ElementsAre("SetSKU 0", "SetVersion 32.27.1.5", "RegisterUIEvent 0 *",
                                        "RegisterUIEvent 1 *", "RegisterUIEvent 2 *",
                                        "RegisterUIEvent 3 *", "SelectSplashScreen 0"));
}

TEST_F(UserInterfaceManagerTest, AllowsOnlyTheDefinedTransitionsBetweenScreens) {
    // From None (internal only), Splash, ThermalImaging, Charging, Update, Fault.
    static constexpr std::string_view reached[] = {"", "2345", "345", "5", "5", "5"};
    for (std::size_t from = 1; from <= 5; ++from) {
        for (std::size_t to = 0; to <= 5; ++to) {
            vantorelui_sim_reset();
            UserInterfaceManager fresh;
            fresh.TransitionToState(static_cast<State>(from));
            vantorelui_sim_log(true);
            fresh.TransitionToState(static_cast<State>(to));
            const bool allowed = reached[from].find(std::to_string(to)) != std::string_view::npos;
            EXPECT_EQ(fresh.State(), static_cast<State>(allowed ? to : from)) << from << ">" << to;
            EXPECT_EQ(vantorelui_sim_screen(), static_cast<int>(fresh.State()));
            EXPECT_EQ(vantorelui_sim_log_count() > 0, allowed) << from << ">" << to;
        }
    }
}

// The library may raise a request of the user while it changes screens, and another thread may
// report the charger.
TEST_F(UserInterfaceManagerTest, ShowsTheScreenOfItsStateWhenSeveralThreadsChangeIt) {
    beforeThermalScreen = [this] {
        EXPECT_EQ(manager->State(), State::ThermalImaging);
        manager->TransitionToState(State::Splash); // ignored
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

TEST_F(UserInterfaceManagerTest, FollowsConnectionStatesAndRequestsPowerOffWhenUnplugged) {
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
    units = 7;
    vantorelui_sim_event(VANTORELUI_EVENT_UNITS_CHANGED);
    EXPECT_EQ(test::ReadFile("/tmp/var/units"), "") << "neither Celsius nor Fahrenheit";
    units.reset();
    EXPECT_THROW(vantorelui_sim_event(VANTORELUI_EVENT_POWER_OFF), Error);
}

// The state of the LED is unknown after it rejects a click. The supervisor restarts the
// application, which then reads the state.
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

TEST_F(UserInterfaceManagerTest, JudgesOverheatingByTheBoardAndTheBatteryTogether) {
    Thermometer board("vantorel.thermometer.board", "/dev/null");
    const auto overheats = [&](float boardTemperature, float batteryTemperature) {
        manager->OnFuelGaugeTemperatureQuery(Unused<FuelGauge>(), batteryTemperature);
        manager->OnThermometerTemperatureQuery(board, boardTemperature);
        const std::string afterTheBoard = ui.Calls().back();
        manager->OnFuelGaugeTemperatureQuery(Unused<FuelGauge>(), batteryTemperature);
        EXPECT_EQ(ui.Calls().back(), afterTheBoard) << "the order of the readings must not matter";
        return afterTheBoard == "SetOverheatingState 1";
    };
    EXPECT_FALSE(overheats(79.9F, 64.9F));
    EXPECT_TRUE(overheats(80.0F, 20.0F));
    EXPECT_TRUE(overheats(20.0F, 65.0F));
    EXPECT_FALSE(overheats(20.0F, 20.0F));
    for (const char* name : {"thermometer.board", "vantorel.thermometer.cpu", ""}) {
        Thermometer other(name, "/dev/null");
        manager->OnThermometerTemperatureQuery(other, 90.0F);
        EXPECT_THAT(ui.Calls(), testing::IsEmpty()) << name;
    }
    EXPECT_FALSE(overheats(20.0F, 20.0F));
}

TEST_F(UserInterfaceManagerTest, SubtractsTheHeatOfALitTorchFromTheBatteryTemperature) {
    const auto overheats = [this](float battery) {
        manager->OnFuelGaugeTemperatureQuery(Unused<FuelGauge>(), battery);
        return ui.Calls().back() == "SetOverheatingState 1";
    };
    manager->OnTorchOn(Unused<Torch>());
    EXPECT_FALSE(overheats(69.923F)) << "below 65 without the heat of the torch";
    EXPECT_TRUE(overheats(69.925F));
    manager->OnTorchOff(Unused<Torch>());
    EXPECT_TRUE(overheats(65.0F));
}

TEST_F(UserInterfaceManagerTest, DistinguishesItsThreeButtonsByName) {
    ui.Calls();
    for (const char* name :
         {"vantorel.button.power", "vantorel.button.torch", "vantorel.button.reset", "button"}) {
        Button button(name, "/dev/null", 1);
        manager->OnButtonDown(button);
        manager->OnButtonUp(button);
    }
    EXPECT_THAT(ui.Calls(), ElementsAre("Button1Down 0", "Button1Up 0", "Button2Down 0",
                                        "Button2Up 0", "ButtonPinholeDown 0", "ButtonPinholeUp 0",
                                        // The pinhole changes the units of this library.
                                        "GetTemperatureUnits 0"));
}

TEST_F(UserInterfaceManagerTest, ShowsHeaderTemperaturesOfEveryFifthFrameAtAnyAlignment) {
    StartCamera();
    // The first frame changes the screen even if it cannot be converted and does not count.
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

/** Notifies the manager of every frame on two threads at once. */
struct Twice final : CameraObserver {
    void OnCameraFrameAvailable(Camera& camera, kirocamera_frame_t* frame) override {
        const std::jthread second([&] { manager->OnCameraFrameAvailable(camera, frame); });
        manager->OnCameraFrameAvailable(camera, frame);
    }
    UserInterfaceManager* manager = nullptr;
};

// For the thread sanitizer.
TEST_F(UserInterfaceManagerTest, AcceptsOverlappingFrames) {
    Twice twice;
    twice.manager = &*manager;
    camera.AddObserver(twice);
    camera.Start();
    sdk.Connect();
    camera.OnConnectionStateChanged(ConnectionState::NoHost, ConnectionState::Undetermined);
    ui.Calls();
    sdk.Frame(); // frames one and two
    sdk.Frame();
    sdk.Frame(); // includes the sixth
    EXPECT_THAT(ui.Calls(), ElementsAre("SetTemperatureUnits 1", "SelectTIScreen 0",
                                        testing::StartsWith("SetEnvironmentTemp"),
                                        testing::StartsWith("SetReadoutTemp"),
                                        testing::StartsWith("SetEnvironmentTemp"),
                                        testing::StartsWith("SetReadoutTemp")));
}

TEST_F(UserInterfaceManagerTest, PassesOnChipBatteryUpdateAndDebugTexts) {
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
    manager->OnFuelGaugeLevelQuery(Unused<FuelGauge>(), 42);
    manager->OnFirmwareUpdateBegin(update);
    manager->OnFirmwareUpdateInProgress(update, 75);
    manager->OnFirmwareUpdateComplete(update);
    manager->OnFirmwareUpdateError(update, error);
    manager->OnLoggerNewEntry(Unused<Logger>(), entry);
    EXPECT_THAT(ui.Calls(),
                ElementsAre("SetChipID AAAAAAAAAAAAAAA", "SetBatteryState 42",
                            "SetUpdateProgress 0", "SetUpdateUploading 0", "SetUpdateProgress 75",
                            "SetUpdateComplete 1", "SetUpdateComplete 0",
                            testing::StartsWith("SetDebugInfo UPTIME: 0 ns\nCID: \nNFIELD: 0\n")));
}

} // namespace
} // namespace vantorel
