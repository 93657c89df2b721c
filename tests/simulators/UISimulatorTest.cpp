// What the UI simulator draws, and what it offers to tests.
#include "UISimulatorSupport.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <limits>
#include <set>
#include <string>
#include <thread>
#include <unistd.h>

namespace {

using uisimulator::Image;
using uisimulator::PixelCount;
using uisimulator::Press;
using uisimulator::Shot;
using UISimulator = uisimulator::UISimulator;

using Picture = std::vector<std::uint8_t>;

constexpr int sourceWidth = 160;
constexpr int sourceHeight = 120;

Picture Uniform(std::uint8_t level) {
    return Picture(std::size_t{sourceWidth} * sourceHeight, level);
}

Picture Gradient(int seed) {
    Picture picture = Uniform(0);
    for (std::size_t i = 0; i < picture.size(); ++i) {
        picture[i] = static_cast<std::uint8_t>(
            (i % sourceWidth + i / sourceWidth * 3 + static_cast<std::size_t>(seed) * 37) & 0xFF);
    }
    return picture;
}

struct Box {
    int left = 1 << 20;
    int top = 1 << 20;
    int right = -1;
    int bottom = -1;
};

/** The smallest area that holds every difference of two images. */
Box Difference(const Image& one, const Image& other) {
    Box box;
    const int width = vantorelui_sim_width();
    for (int i = 0; i < static_cast<int>(PixelCount()); ++i) {
        if (one[static_cast<std::size_t>(i)] != other[static_cast<std::size_t>(i)]) {
            box.left = std::min(box.left, i % width);
            box.right = std::max(box.right, i % width);
            box.top = std::min(box.top, i / width);
            box.bottom = std::max(box.bottom, i / width);
        }
    }
    return box;
}

TEST_F(UISimulator, ShowsNothingUntilAScreenIsSelectedAndThenADifferentImageForEach) {
    EXPECT_EQ(Render(), nullptr);
    std::set<Image> images;
    int expected = VANTORELUI_SIM_SCREEN_SPLASH;
    for (void (*select)() : {SelectSplashScreen, SelectTIScreen, SelectChargingScreen,
                             SelectUpdateScreen, SelectErrorScreen}) {
        select();
        EXPECT_EQ(vantorelui_sim_screen(), expected++);
        images.insert(Shot());
    }
    EXPECT_EQ(images.size(), 5U);
    for (void (*change)() : {+[] { SetUpdateUploading(); }, +[] { SetUpdateProgress(40); },
                             +[] { SetUpdateComplete(true); }, +[] { SetUpdateComplete(false); }}) {
        SelectUpdateScreen();
        change();
        EXPECT_TRUE(images.insert(Shot()).second);
    }
}

// Only changed regions are drawn. Whatever the order of changes, the image must be the one that
// drawing everything at once gives.
TEST_F(UISimulator, DrawsTheSameStepByStepAsAtOnce) {
    const Picture first = Gradient(1);
    const Picture second = Gradient(2);
    const std::vector<std::function<void()>> steps{
        [] { SetSKU("VTS-H160"); },
        [] { SetVersion("1.2.3.4"); },
        [] { SetChipID("00A1B2C3D4E5"); },
        [] { SetBatteryState(100); },
        [] { SetReadoutTemp(-1234.5F); },
        [] { SetEnvironmentTemp(1234.5F); },
        [&] { UpdateThermalImage(first.data()); },
        [] { SetDebugInfo("one\ntwo\nthree\nfour\nfive\nsix\nseven"); },
        [] { SetOverheatingState(true); },
        [] { vantorelui_sim_advance_clock(500); },
        [] { SetUpdateProgress(77); },
        [] { SetReadoutTemp(5.0F); },
        [] { SetOverheatingState(false); },
        [] { SetBatteryState(7); },
        [&] { UpdateThermalImage(second.data()); },
        [] { SetDebugInfo("short"); },
        [] { SetEnvironmentTemp(-3.25F); },
        [] { SetTemperatureUnits(VANTORELUI_FAHRENHEIT); },
        [] { SetUpdateUploading(); },
        [] { SetUpdateProgress(12); },
        [] { vantorelui_sim_advance_clock(500); },
    };
    for (void (*select)() : {SelectSplashScreen, SelectTIScreen, SelectChargingScreen,
                             SelectUpdateScreen, SelectErrorScreen}) {
        SetUp();
        select();
        for (const auto& step : steps) {
            step();
            Shot();
        }
        const Image stepByStep = Shot();
        SetUp();
        select();
        std::for_each(steps.begin(), steps.end(), [](const auto& step) { step(); });
        EXPECT_EQ(Shot(), stepByStep) << "screen " << vantorelui_sim_screen();
    }
}

TEST_F(UISimulator, ScalesThePictureSmoothlyOntoThePalette) {
    SelectTIScreen();
    const Image before = Shot();
    Picture picture = Uniform(0);
    UpdateThermalImage(Uniform(1).data());
    Shot();
    // The right half hot: the edge lies between columns 79 and 80 of the source.
    for (std::size_t i = 0; i < picture.size(); ++i) {
        picture[i] = i % sourceWidth >= 80 ? 255 : 0;
    }
    UpdateThermalImage(picture.data());
    const Image after = Shot();
    const Box box = Difference(before, after);
    EXPECT_EQ(box.right, vantorelui_sim_width() - 1);
    EXPECT_EQ(box.bottom - box.top + 1, 3 * sourceHeight);
    EXPECT_NEAR(box.left, 3 * 80 - 1, 1);

    const auto* line = &after[static_cast<std::size_t>((box.top + 4) * vantorelui_sim_width())];
    const auto brightness = [](std::uint32_t c) {
        return static_cast<int>((c >> 16 & 0xFF) + (c >> 8 & 0xFF) + (c & 0xFF));
    };
    EXPECT_EQ(line[0], line[238]);
    EXPECT_EQ(line[241], line[479]);
    for (int x = 238; x < 241; ++x) {
        EXPECT_LT(brightness(line[x]), brightness(line[x + 1])) << x;
    }

    // The same across as down: a transposed edge gives the same steps.
    for (std::size_t i = 0; i < picture.size(); ++i) {
        picture[i] = i / sourceWidth >= 60 ? 255 : 0;
    }
    UpdateThermalImage(picture.data());
    const Image down = Shot();
    for (int step = -1; step < 3; ++step) {
        const auto y = static_cast<std::size_t>(box.top + 3 * 60 - 1 + step);
        EXPECT_EQ(down[y * static_cast<std::size_t>(vantorelui_sim_width())], line[239 + step]);
    }
}

TEST_F(UISimulator, CopiesThePictureAndTheTexts) {
    SelectTIScreen();
    Picture picture = Gradient(3);
    std::string debug = "kept";
    UpdateThermalImage(picture.data());
    SetDebugInfo(debug.c_str());
    const Image before = Shot();
    std::fill(picture.begin(), picture.end(), std::uint8_t{0});
    debug = "gone";
    SetBatteryState(50); // makes Render() read the state again
    SelectSplashScreen();
    Shot();
    SelectTIScreen();
    EXPECT_LT(Difference(before, Shot()).bottom, 56) << "more than the battery changed";
}

TEST_F(UISimulator, ToleratesEveryArgument) {
    SelectTIScreen();
    UpdateThermalImage(nullptr);
    SetDebugInfo(nullptr);
    SetSKU("\xC3");                // cut in the middle of a character
    SetChipID("\xF0\x9F\x94\xA5"); // no glyph
    SetVersion(std::string(5000, 'W').c_str());
    SetDebugInfo((std::string(5000, 'W') + "\n\n\n").c_str());
    SetBatteryState(255);
    SetUpdateProgress(255);
    RegisterUIEvent(-1, nullptr, nullptr);
    RegisterUIEvent(1000, nullptr, nullptr);
    const Image missing = Shot();
    for (const float value :
         {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
        SetReadoutTemp(value);
        SetEnvironmentTemp(-value);
        EXPECT_EQ(Shot(), missing);
    }
    SetReadoutTemp(std::numeric_limits<float>::max());
    SetReadoutTemp(-0.04F);
    const Image zero = Shot();
    SetReadoutTemp(0.0F);
    EXPECT_EQ(Shot(), zero);
    for (void (*select)() : {SelectChargingScreen, SelectUpdateScreen, SelectSplashScreen}) {
        select();
        SetUpdateUploading();
        EXPECT_FALSE(Shot().empty());
    }
}

TEST_F(UISimulator, ShowsALowBatteryInRed) {
    SelectTIScreen();
    const auto reds = [] {
        const Image image = Shot();
        return std::count(image.begin(), image.begin() + 56 * vantorelui_sim_width(), 0xFF4B4BU);
    };
    SetBatteryState(21);
    EXPECT_EQ(reds(), 0);
    SetBatteryState(20);
    EXPECT_GT(reds(), 50);
}

TEST_F(UISimulator, AnimatesWhileCharging) {
    SelectChargingScreen();
    SetBatteryState(50);
    const Image before = Shot();
    EXPECT_EQ(Shot(), before);
    vantorelui_sim_advance_clock(250);
    EXPECT_NE(Shot(), before);
}

TEST_F(UISimulator, TakesChangesFromManyThreadsWhileRendering) {
    std::atomic<bool> stop = false;
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&stop, i] {
            for (int n = 0; !stop; ++n) {
                SetBatteryState(static_cast<std::uint8_t>(n % 100));
                SetReadoutTemp(static_cast<float>(n));
                SetDebugInfo(n % 2 == 0 ? "even" : "odd\nodd");
                n % 20 < 10 ? SelectTIScreen() : SelectUpdateScreen();
                if (i == 0) {
                    Press(Button2Down, Button2Up, 1);
                    Press(ButtonPinholeDown, ButtonPinholeUp, 1);
                }
                std::this_thread::yield();
            }
        });
    }
    for (int n = 0; n < 40; ++n) {
        UpdateThermalImage(Gradient(n).data());
        Render();
    }
    stop = true;
    std::for_each(threads.begin(), threads.end(), [](std::thread& thread) { thread.join(); });
    SelectTIScreen();
    const Image image = Shot();
    SelectSplashScreen();
    Shot();
    SelectTIScreen();
    EXPECT_EQ(Shot(), image);
}

TEST_F(UISimulator, RecordsCallsWithinABound) {
    SetSKU("unseen");
    vantorelui_sim_log(true);
    SetVersion("1.2.3.4");
    const long other = std::async(std::launch::async, [] {
                           SetReadoutTemp(36.5F);
                           return static_cast<long>(gettid());
                       }).get();
    ASSERT_EQ(vantorelui_sim_log_count(), 2U);
    vantorelui_sim_call_t call;
    ASSERT_TRUE(vantorelui_sim_log_get(0, &call));
    EXPECT_STREQ(call.function, "SetVersion");
    EXPECT_STREQ(call.text, "1.2.3.4");
    EXPECT_EQ(call.thread, gettid());
    ASSERT_TRUE(vantorelui_sim_log_get(1, &call));
    EXPECT_STREQ(call.function, "SetReadoutTemp");
    EXPECT_EQ(call.number, 36.5);
    EXPECT_EQ(call.thread, other);
    for (int i = 0; i < VANTORELUI_SIM_LOG_CAPACITY; ++i) {
        SetBatteryState(static_cast<std::uint8_t>(i % 100));
    }
    EXPECT_FALSE(vantorelui_sim_log_get(1, &call));
    ASSERT_TRUE(vantorelui_sim_log_get(vantorelui_sim_log_count() - 1, &call));
    EXPECT_EQ(call.number, (VANTORELUI_SIM_LOG_CAPACITY - 1) % 100);
    EXPECT_FALSE(vantorelui_sim_log_get(vantorelui_sim_log_count(), &call));
}

TEST_F(UISimulator, LetsTestsReplaceAndHoldRendering) {
    SelectSplashScreen();
    std::uint32_t image = 1;
    vantorelui_sim_set_render_image(&image);
    EXPECT_EQ(Render(), &image);
    vantorelui_sim_set_render_image(nullptr);
    EXPECT_EQ(Render(), nullptr);
    std::promise<void> release;
    vantorelui_sim_set_render_hook(
        [](void* promise) { static_cast<std::promise<void>*>(promise)->get_future().wait(); },
        &release);
    auto rendered = std::async(std::launch::async, Render);
    EXPECT_EQ(rendered.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    vantorelui_sim_clear_render_image();
    release.set_value();
    EXPECT_NE(rendered.get(), nullptr);
}

} // namespace
