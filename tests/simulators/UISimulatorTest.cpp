// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// How the UI simulator handles buttons and draws any values. Tests on the device compare its
// screens: tests/device/day.console, update.console and others.

#include <VantorelUI.h>
#include <VantorelUI_sim.h>

#include <gtest/gtest.h>

#include <cmath>
#include <future>
#include <thread>

namespace {

struct Button {
    void (*down)();
    void (*up)();
};
constexpr Button power{Button1Down, Button1Up};
constexpr Button torch{Button2Down, Button2Up};
constexpr Button pinhole{ButtonPinholeDown, ButtonPinholeUp};

/** Presses and releases a button; advances the clock in between and afterwards. */
void Press(const Button& button, unsigned held, unsigned pause = 0) {
    button.down();
    vantorelui_sim_advance_clock(held);
    button.up();
    vantorelui_sim_advance_clock(pause);
}

/** Resets the library, stops its clock and counts its events. */
class UISimulator : public testing::Test {
protected:
    void SetUp() override {
        vantorelui_sim_reset();
        vantorelui_sim_use_manual_clock();
        for (std::size_t event = 0; event < raised.size(); ++event) {
            raised[event] = 0;
            RegisterUIEvent(
                static_cast<int>(event), [](void* count) { ++*static_cast<int*>(count); },
                &raised[event]);
        }
    }
    void TearDown() override { vantorelui_sim_reset(); }

    std::vector<int> raised = std::vector<int>(6);
};

// Mainly for the address sanitizer.
TEST_F(UISimulator, DrawsAnyInput) {
    EXPECT_EQ(Render(), nullptr) << "no screen is selected yet";
    const std::function<void()> changes[] = {
        SelectSplashScreen,
        [] { SetSKU("\xC3"), SetVersion(std::string(5000, 'W').c_str()), SetChipID(nullptr); },
        SelectChargingScreen,
        [] { SetBatteryState(255), vantorelui_sim_advance_clock(250); }, // the animation
        SelectUpdateScreen,
        [] { SetUpdateUploading(), SetUpdateProgress(255); },
        SelectTIScreen,
        [] { UpdateThermalImage(std::vector<std::uint8_t>(160 * 120, 255).data()); }, // is copied
        [] { SetReadoutTemp(-1e30F), SetEnvironmentTemp(NAN); },
        [] { SetDebugInfo(std::string(5000, '\n').c_str()); },
    };
    std::set<std::vector<std::uint32_t>> images;
    for (const auto& change : changes) {
        change();
        const std::uint32_t* const pixels = Render();
        images.emplace(pixels, pixels + vantorelui_sim_width() * vantorelui_sim_height());
    }
    EXPECT_GE(images.size(), std::size(changes) - 1);
}

TEST_F(UISimulator, DistinguishesClicksHoldsAndDoubleClicks) {
    struct Step {
        Button button;
        unsigned held, pause;
    };
    const std::pair<std::vector<Step>, std::vector<int>> rows[] = {
        // Expected events: torch on, off, power off, units, power double, torch double.
        {{{power, 1499, 5000}}, {0, 0, 0, 0, 0, 0}},
        {{{power, 11500, 0}}, {0, 0, 1, 0, 0, 0}}, // one request for any duration
        {{{torch, 999, 1000}, {torch, 10, 0}}, {1, 1, 0, 0, 0, 0}},
        {{{torch, 1000, 1000}}, {0, 0, 0, 0, 0, 0}},              // too long for a click
        {{{power, 100, 401}, {power, 9, 0}}, {0, 0, 0, 0, 0, 0}}, // too slow for a double click
        {{{power, 100, 400}, {power, 9, 0}}, {0, 0, 0, 0, 1, 0}},
        {{{power, 9, 9}, {power, 9, 9}, {power, 9, 9}}, {0, 0, 0, 0, 1, 0}}, // the third is new
        {{{torch, 100, 100}, {torch, 9, 0}}, {1, 1, 0, 0, 0, 1}},
        {{{pinhole, 5000, 0}, {pinhole, 1, 0}}, {0, 0, 0, 2, 0, 0}},
    };
    for (const auto& [steps, expected] : rows) {
        SetUp();
        for (const Step& step : steps) {
            Press(step.button, step.held, step.pause);
        }
        EXPECT_EQ(raised, expected);
        EXPECT_EQ(GetTemperatureUnits(), VANTORELUI_CELSIUS);
    }
}

TEST_F(UISimulator, LetsHandlersCallBackAndThrow) {
    const auto handler = [](void*) {
        RegisterUIEvent(VANTORELUI_EVENT_TORCH_ON, nullptr, nullptr);
        Press(pinhole, 1);
        Render();
        throw std::runtime_error("handler");
    };
    RegisterUIEvent(VANTORELUI_EVENT_TORCH_ON, handler, nullptr);
    torch.down();
    EXPECT_THROW(torch.up(), std::runtime_error);
    EXPECT_EQ(GetTemperatureUnits(), VANTORELUI_FAHRENHEIT);
    EXPECT_FALSE(vantorelui_sim_event(VANTORELUI_EVENT_TORCH_ON));
}

// The power-off does not return; until then the display and the buttons must keep working.
TEST_F(UISimulator, RequestsPowerOffWhileTheButtonIsHeldAndContinuesIfTheHandlerBlocks) {
    std::promise<void> gates[2]; // start and end of the handler
    const auto handler = [](void* context) {
        auto* const waiting = static_cast<std::promise<void>*>(context);
        waiting[0].set_value();
        waiting[1].get_future().wait();
    };
    RegisterUIEvent(VANTORELUI_EVENT_POWER_OFF, handler, gates);
    SelectTIScreen();
    power.down();
    vantorelui_sim_advance_clock(1000);
    power.down(); // repeated by the input device
    const std::jthread hands([] { vantorelui_sim_advance_clock(500); });
    EXPECT_EQ(gates[0].get_future().wait_for(std::chrono::minutes(5)), std::future_status::ready);
    power.up();
    torch.down();
    torch.up();
    EXPECT_NE(Render(), nullptr);
    EXPECT_EQ(raised[VANTORELUI_EVENT_TORCH_ON], 1);
    gates[1].set_value();
}

} // namespace
