// What the UI simulator draws, and what it makes of the buttons.

#include <VantorelUI.h>
#include <VantorelUI_sim.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <limits>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using Image = std::vector<std::uint32_t>;

std::vector<std::uint8_t> Gradient(std::size_t seed) {
    std::vector<std::uint8_t> picture(160 * 120);
    for (std::size_t i = 0; i < picture.size(); ++i) {
        picture[i] = static_cast<std::uint8_t>(i % 160 + i / 160 * 3 + seed * 37);
    }
    return picture;
}

/** A copy of what Render() draws; empty when it draws nothing. */
Image Shot() {
    const int size = vantorelui_sim_width() * vantorelui_sim_height();
    const std::uint32_t* pixels = Render();
    return pixels == nullptr ? Image() : Image(pixels, pixels + size);
}

struct Button {
    void (*down)();
    void (*up)();
};
constexpr Button power{Button1Down, Button1Up};
constexpr Button torch{Button2Down, Button2Up};
constexpr Button pinhole{ButtonPinholeDown, ButtonPinholeUp};

/** Moves a button down and up; the clock advances meanwhile and afterwards. */
void Press(const Button& button, unsigned held, unsigned pause = 0) {
    button.down();
    vantorelui_sim_advance_clock(held);
    button.up();
    vantorelui_sim_advance_clock(pause);
}

/** Starts with a fresh library whose clock stands still, and counts the events it raises. */
class UISimulator : public testing::Test {
protected:
    void SetUp() override {
        vantorelui_sim_reset();
        vantorelui_sim_use_manual_clock();
        for (std::size_t event = 0; event < raised.size(); ++event) {
            raised[event] = 0;
            RegisterUIEvent(
                static_cast<int>(event),
                [](void* count) { ++*static_cast<std::atomic<int>*>(count); }, &raised[event]);
        }
    }
    void TearDown() override { vantorelui_sim_reset(); }
    std::vector<int> Raised() const { return {raised.begin(), raised.end()}; }

    std::array<std::atomic<int>, 6> raised{};
};

TEST_F(UISimulator, DrawsEveryScreenAndEveryChangeDifferently) {
    EXPECT_EQ(Render(), nullptr) << "no screen is selected yet";
    const std::function<void()> changes[] = {
        SelectSplashScreen,
        SelectChargingScreen,
        [] { vantorelui_sim_advance_clock(250); }, // the animation
        SelectErrorScreen,
        SelectUpdateScreen,
        SetUpdateUploading,
        [] { SetUpdateProgress(40); },
        [] { SetUpdateComplete(true); },
        [] { SetUpdateComplete(false); },
        SelectTIScreen,
        [] { SetBatteryState(21); },
        [] { SetReadoutTemp(20.0F); },
        [] { SetOverheatingState(true); },
        [] { Press(torch, 1, 1000); },
        [] { Press(pinhole, 1); },
    };
    std::set<Image> images;
    for (const auto& change : changes) {
        change();
        const Image image = Shot();
        EXPECT_EQ(image, Shot());
        images.insert(image);
    }
    EXPECT_EQ(images.size(), std::size(changes));
}

// Only changed regions are drawn. Whatever the order of changes, the image must be the one that
// drawing everything at once gives.
TEST_F(UISimulator, DrawsTheSameStepByStepAsAtOnce) {
    const std::function<void()> steps[] = {
        [] { SetSKU("VTS-H160"), SetVersion("1.2.3.4"), SetChipID("00A1B2C3D4E5"); },
        [] { SetBatteryState(100), SetReadoutTemp(-1234.5F), SetEnvironmentTemp(1234.5F); },
        [] { UpdateThermalImage(Gradient(1).data()); }, // is copied: the picture goes at once
        [] { SetDebugInfo("one\ntwo\nthree\nfour\nfive\nsix\nseven"); },
        [] { SetOverheatingState(true), vantorelui_sim_advance_clock(500); },
        [] { SetUpdateProgress(77), SetReadoutTemp(5.0F), SetOverheatingState(false); },
        [] { SetBatteryState(7), UpdateThermalImage(Gradient(2).data()); },
        [] { SetDebugInfo(std::string("short").c_str()); },
        // Whatever comes is drawn somehow: a character cut in the middle, too much, no number.
        [] { SetSKU("\xC3"), SetVersion(std::string(5000, 'W').c_str()), SetChipID(nullptr); },
        [] { SetReadoutTemp(std::numeric_limits<float>::quiet_NaN()), SetBatteryState(255); },
        [] { SetEnvironmentTemp(-3.25F); },
        [] { SetTemperatureUnits(VANTORELUI_FAHRENHEIT), SetUpdateUploading(); },
        [] { SetUpdateProgress(12), vantorelui_sim_advance_clock(500); },
    };
    for (const auto& select : {SelectSplashScreen, SelectTIScreen, SelectChargingScreen,
                               SelectUpdateScreen, SelectErrorScreen}) {
        std::vector<Image> shots;
        for (const bool stepByStep : {true, false}) {
            SetUp();
            select();
            for (const auto& step : steps) {
                step();
                stepByStep ? Shot() : Image();
            }
            shots.push_back(Shot());
        }
        EXPECT_EQ(shots[0], shots[1]) << "screen " << vantorelui_sim_screen();
    }
}

TEST_F(UISimulator, TakesChangesFromManyThreadsWhileRendering) {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([i](const std::stop_token& stop) {
            for (int n = 0; !stop.stop_requested(); ++n) {
                SetBatteryState(static_cast<std::uint8_t>(n % 100));
                SetReadoutTemp(static_cast<float>(n));
                SetDebugInfo(n % 2 == 0 ? "even" : "odd\nodd");
                n % 20 < 10 ? SelectTIScreen() : SelectUpdateScreen();
                if (i == 0) {
                    Press(torch, 1);
                    Press(pinhole, 1);
                }
                std::this_thread::yield();
            }
        });
    }
    for (std::size_t n = 0; n < 40; ++n) {
        UpdateThermalImage(Gradient(n).data());
        Render();
    }
    threads.clear();
    SelectTIScreen();
    const Image image = Shot();
    SelectSplashScreen();
    EXPECT_NE(Shot(), image);
    SelectTIScreen();
    EXPECT_EQ(Shot(), image);
}

TEST_F(UISimulator, TellsClicksHoldsAndDoubleClicks) {
    struct Step {
        Button button;
        unsigned held, pause;
    };
    const struct {
        const char* what;
        std::vector<Step> steps;
        std::vector<int> raised; // torch on, off, power off, units, power double, torch double
    } rows[] = {
        {"not held for long enough", {{power, 1499, 5000}}, {0, 0, 0, 0, 0, 0}},
        {"held just long enough", {{power, 1500, 0}}, {0, 0, 1, 0, 0, 0}},
        {"held for long, but one request", {{power, 11500, 0}}, {0, 0, 1, 0, 0, 0}},
        {"clicks switch the torch", {{torch, 999, 1000}, {torch, 10, 0}}, {1, 1, 0, 0, 0, 0}},
        {"too long for a click", {{torch, 1000, 1000}}, {0, 0, 0, 0, 0, 0}},
        {"too slow for a double click", {{power, 100, 401}, {power, 9, 0}}, {0, 0, 0, 0, 0, 0}},
        {"just a double click", {{power, 100, 400}, {power, 9, 0}}, {0, 0, 0, 0, 1, 0}},
        {"the third is new", {{power, 9, 9}, {power, 9, 9}, {power, 9, 9}}, {0, 0, 0, 0, 1, 0}},
        {"of the torch, too", {{torch, 100, 100}, {torch, 9, 0}}, {1, 1, 0, 0, 0, 1}},
        {"units", {{pinhole, 5000, 0}, {pinhole, 1, 0}}, {0, 0, 0, 2, 0, 0}},
    };
    for (const auto& row : rows) {
        SetUp();
        for (const Step& step : row.steps) {
            Press(step.button, step.held, step.pause);
        }
        EXPECT_EQ(Raised(), row.raised) << row.what;
        EXPECT_EQ(GetTemperatureUnits(), VANTORELUI_CELSIUS);
    }
}

TEST_F(UISimulator, LetsHandlersCallBackAndThrow) {
    RegisterUIEvent(
        VANTORELUI_EVENT_TORCH_ON,
        [](void*) {
            RegisterUIEvent(VANTORELUI_EVENT_TORCH_ON, nullptr, nullptr);
            Press(pinhole, 1);
            Render();
            throw std::runtime_error("handler");
        },
        nullptr);
    Button2Down();
    EXPECT_THROW(Button2Up(), std::runtime_error);
    EXPECT_EQ(GetTemperatureUnits(), VANTORELUI_FAHRENHEIT);
    EXPECT_FALSE(vantorelui_sim_event(VANTORELUI_EVENT_TORCH_ON));
}

// Switching the device off does not come back; the display and the buttons must go on meanwhile.
TEST_F(UISimulator, RequestsPowerOffWhileTheButtonIsHeldAndGoesOnWithoutItsReturn) {
    struct Gate {
        std::promise<void> entered, leave;
    } gate;
    RegisterUIEvent(
        VANTORELUI_EVENT_POWER_OFF,
        [](void* context) {
            auto& waiting = *static_cast<Gate*>(context);
            waiting.entered.set_value();
            waiting.leave.get_future().wait();
        },
        &gate);
    SelectTIScreen();
    Button1Down();
    vantorelui_sim_advance_clock(1000);
    Button1Down(); // repeated by the input device
    vantorelui_sim_advance_clock(499);
    auto entered = gate.entered.get_future();
    const std::jthread hands([] { vantorelui_sim_advance_clock(1); });
    EXPECT_EQ(entered.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    Button1Up();
    Button2Down();
    Button2Up();
    EXPECT_FALSE(Shot().empty());
    EXPECT_EQ(raised[VANTORELUI_EVENT_TORCH_ON], 1);
    gate.leave.set_value();
}

} // namespace
