// What the UI simulator makes of the buttons.
#include "UISimulatorSupport.h"

#include <array>
#include <atomic>
#include <chrono>
#include <future>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using uisimulator::Image;
using uisimulator::Press;
using uisimulator::Shot;

class UISimulatorButtons : public uisimulator::UISimulator {
protected:
    void Count(int event) {
        RegisterUIEvent(
            event, [](void* count) { ++*static_cast<std::atomic<int>*>(count); },
            &raised[static_cast<std::size_t>(event)]);
    }
    void CountAll() {
        for (int event = 0; event < static_cast<int>(raised.size()); ++event) {
            Count(event);
        }
    }
    std::vector<int> Raised() const { return {raised.begin(), raised.end()}; }

    std::array<std::atomic<int>, 6> raised{};
};

TEST_F(UISimulatorButtons, RequestsPowerOffOnceWhileThePowerButtonIsStillHeld) {
    CountAll();
    Button1Down();
    vantorelui_sim_advance_clock(1000);
    Button1Down(); // repeated by the input device
    vantorelui_sim_advance_clock(499);
    EXPECT_EQ(raised[VANTORELUI_EVENT_POWER_OFF], 0);
    vantorelui_sim_advance_clock(1);
    EXPECT_EQ(raised[VANTORELUI_EVENT_POWER_OFF], 1);
    vantorelui_sim_advance_clock(10000);
    Button1Up();
    Press(Button1Down, Button1Up, 1499, 5000);
    EXPECT_EQ(Raised(), (std::vector{0, 0, 1, 0, 0, 0}));
    Press(Button1Down, Button1Up, 1500);
    EXPECT_EQ(Raised(), (std::vector{0, 0, 2, 0, 0, 0}));
}

TEST_F(UISimulatorButtons, NoticesAHeldButtonByTheRealClock) {
    vantorelui_sim_reset();
    std::promise<void> requested;
    RegisterUIEvent(
        VANTORELUI_EVENT_POWER_OFF,
        [](void* promise) { static_cast<std::promise<void>*>(promise)->set_value(); }, &requested);
    const auto start = std::chrono::steady_clock::now();
    Button1Down();
    ASSERT_EQ(requested.get_future().wait_for(std::chrono::seconds(20)), std::future_status::ready);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1499));
    vantorelui_sim_advance_clock(0); // the handler still uses the promise until it has returned
}

TEST_F(UISimulatorButtons, SwitchesTheTorchByClicks) {
    CountAll();
    SelectTIScreen();
    const Image dark = Shot();
    Press(Button2Down, Button2Up, 999, 1000);
    EXPECT_EQ(Raised(), (std::vector{1, 0, 0, 0, 0, 0}));
    const Image lit = Shot();
    EXPECT_NE(lit, dark);
    Press(Button2Down, Button2Up, 1000, 1000); // too long for a click
    Button2Up();                               // was not down
    EXPECT_EQ(Raised(), (std::vector{1, 0, 0, 0, 0, 0}));
    EXPECT_EQ(Shot(), lit);
    Press(Button2Down, Button2Up, 10, 1000);
    EXPECT_EQ(Raised(), (std::vector{1, 1, 0, 0, 0, 0}));
    EXPECT_EQ(Shot(), dark);
}

TEST_F(UISimulatorButtons, DetectsDoubleClicks) {
    CountAll();
    Press(Button1Down, Button1Up, 100, 401); // too slow for the next to continue it
    Press(Button1Down, Button1Up, 100, 400);
    EXPECT_EQ(raised[VANTORELUI_SIM_EVENT_POWER_DOUBLE_CLICK], 0);
    Press(Button1Down, Button1Up, 100, 100);
    EXPECT_EQ(raised[VANTORELUI_SIM_EVENT_POWER_DOUBLE_CLICK], 1);
    vantorelui_sim_advance_clock(1000);
    for (int click = 0; click < 3; ++click) { // the third one begins anew
        Press(Button1Down, Button1Up, 10, 10);
    }
    EXPECT_EQ(raised[VANTORELUI_SIM_EVENT_POWER_DOUBLE_CLICK], 2);
    Press(Button2Down, Button2Up, 100, 100);
    Press(Button2Down, Button2Up, 100, 100);
    EXPECT_EQ(Raised(), (std::vector{1, 1, 0, 0, 2, 1}));
}

TEST_F(UISimulatorButtons, ChangesUnitsByThePinhole) {
    CountAll();
    SelectTIScreen();
    SetReadoutTemp(20);
    const Image celsius = Shot();
    Press(ButtonPinholeDown, ButtonPinholeUp, 5000);
    EXPECT_EQ(GetTemperatureUnits(), VANTORELUI_FAHRENHEIT);
    EXPECT_NE(Shot(), celsius);
    Press(ButtonPinholeDown, ButtonPinholeUp, 1);
    EXPECT_EQ(GetTemperatureUnits(), VANTORELUI_CELSIUS);
    EXPECT_EQ(Shot(), celsius);
    EXPECT_EQ(Raised(), (std::vector{0, 0, 0, 2, 0, 0}));
}

TEST_F(UISimulatorButtons, LetsHandlersCallBackAndThrow) {
    RegisterUIEvent(
        VANTORELUI_EVENT_TORCH_ON,
        [](void*) {
            SetTemperatureUnits(VANTORELUI_FAHRENHEIT);
            RegisterUIEvent(VANTORELUI_EVENT_TORCH_ON, nullptr, nullptr);
            ButtonPinholeDown();
            ButtonPinholeUp();
            Render();
            throw std::runtime_error("handler");
        },
        nullptr);
    Button2Down();
    EXPECT_THROW(Button2Up(), std::runtime_error);
    EXPECT_EQ(GetTemperatureUnits(), VANTORELUI_CELSIUS);
    EXPECT_FALSE(vantorelui_sim_event(VANTORELUI_EVENT_TORCH_ON));
    RegisterUIEvent(
        VANTORELUI_EVENT_POWER_OFF, [](void*) { throw 7; }, nullptr);
    EXPECT_THROW(vantorelui_sim_event(VANTORELUI_EVENT_POWER_OFF), int);
}

// Switching the device off does not come back; the display and the buttons must go on
// meanwhile.
TEST_F(UISimulatorButtons, GoesOnWhileAPowerOffHandlerDoesNotReturn) {
    struct Gate {
        std::promise<void> entered;
        std::promise<void> leave;
    } gate;
    RegisterUIEvent(
        VANTORELUI_EVENT_POWER_OFF,
        [](void* context) {
            auto& waiting = *static_cast<Gate*>(context);
            waiting.entered.set_value();
            waiting.leave.get_future().wait();
        },
        &gate);
    Count(VANTORELUI_EVENT_TORCH_ON);
    SelectTIScreen();
    Button1Down();
    std::thread hands([] { vantorelui_sim_advance_clock(1500); });
    gate.entered.get_future().wait();
    Button1Up();
    Button2Down();
    Button2Up();
    EXPECT_FALSE(Shot().empty());
    EXPECT_EQ(raised[VANTORELUI_EVENT_TORCH_ON], 1);
    gate.leave.set_value();
    hands.join();
}

} // namespace
