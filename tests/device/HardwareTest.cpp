// The hardware classes on the kernel interfaces of the device, with the world around them changed
// through the control file of the virtual board.

#include "tests/device/Board.h"
#include "tests/support/ErrorOf.h"
#include "vantorel/devices/Button.h"
#include "vantorel/devices/ButtonService.h"
#include "vantorel/devices/Charger.h"
#include "vantorel/devices/LCD.h"
#include "vantorel/devices/LCDService.h"
#include "vantorel/devices/TestFixture.h"
#include "vantorel/devices/Thermometer.h"
#include "vantorel/devices/Torch.h"
#include "vantorel/devices/private/DrmRequests.h"
#include "vantorel/fuelgauge/FuelGauge.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <optional>
#include <thread>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vantorel {
namespace {

using namespace std::chrono_literals;
using test::Board;
using test::ErrorOf;

constexpr const char* i2cBus = "/dev/vantorel/i2c";
constexpr const char* gpioChip = "/dev/vantorel/gpio";
constexpr const char* chargerDirectory = "/sys/class/power_supply/vantorel-charger/";
constexpr const char* torchDirectory = "/sys/class/leds/vantorel-torch/";
constexpr const char* buttonsNode = "/dev/vantorel/buttons";
constexpr const char* displayNode = "/dev/vantorel/display";
constexpr int powerKey = 116;
constexpr int torchKey = 0x21e;

class Hardware : public testing::Test {
protected:
    void SetUp() override {
        if (!Board::IsThere()) {
            GTEST_SKIP() << "needs the virtual board";
        }
        before = Board::State();
    }
    void TearDown() override { Board::Restore(before); }

private:
    std::string before;
};

#define NEED(path)                                                                                 \
    if (!std::filesystem::exists(path)) {                                                          \
        GTEST_SKIP() << (path) << " is missing";                                                   \
    }                                                                                              \
    static_assert(true)

TEST_F(Hardware, ChargerFollowsTheSupply) {
    NEED(chargerDirectory);
    Charger charger("charger", chargerDirectory);
    for (const bool online : {true, false, true}) {
        Board::Do(online ? "charger 1" : "charger 0");
        EXPECT_EQ(charger.IsConnected(), online);
        EXPECT_FALSE(charger.IsCharging()); // the kernel ends "Charging" with a newline
    }
}

TEST_F(Hardware, TestFixturePullsAnyLineLow) {
    NEED(gpioChip);
    for (const char* line : {"0", "1", "2"}) {
        Board::Do(std::string("fixture ") + line + " 0");
    }
    TestFixture fixture("vantorel.fixture", gpioChip);
    for (const char* line : {"0", "1", "2"}) {
        EXPECT_FALSE(fixture.IsConnected());
        Board::Do(std::string("fixture ") + line + " 1");
        EXPECT_TRUE(fixture.IsConnected()) << "line " << line;
        Board::Do(std::string("fixture ") + line + " 0");
    }
    EXPECT_EQ(ErrorOf([] { TestFixture("second", gpioChip); }), EBUSY);
}

TEST_F(Hardware, TorchSwitchesTheLed) {
    NEED(torchDirectory);
    Torch torch("torch", torchDirectory);
    torch.Off();
    EXPECT_EQ(Board::State("led"), "0");
    torch.OnUserInterfaceTorchOffRequest(); // toggles, as the other request does
    EXPECT_EQ(Board::State("led"), "1");
    EXPECT_EQ(ErrorOf([&] { Torch("second", torchDirectory).Toggle(); }), 0); // finds it lit
    EXPECT_EQ(Board::State("led"), "0");
    torch.On();
    torch.OnConnectionStateChanged(ConnectionState::BatteryCharger, ConnectionState::Battery);
    EXPECT_EQ(Board::State("led"), "0");
    torch.On();
    EXPECT_EQ(Board::State("led"), "0");
}

TEST_F(Hardware, ThermometersReadTheirSensors) {
    for (const std::string sensor : {"board", "cpu"}) {
        const std::string attribute = "/dev/vantorel/temperature-" + sensor;
        NEED(attribute);
        Thermometer thermometer(sensor, attribute);
        Board::Do("temperature " + sensor + " 45123");
        EXPECT_EQ(thermometer.Temperature(), 45.123f);
        Board::Do("temperature " + sensor + " -5500");
        EXPECT_EQ(thermometer.Temperature(), -5.5f);
        Board::Do("temperature-error " + sensor + " 61");
        EXPECT_EQ(ErrorOf([&] { thermometer.Temperature(); }), ENODATA);
        Board::Do("temperature-error " + sensor + " 0");
        EXPECT_EQ(thermometer.Temperature(), -5.5f);
    }
}

TEST_F(Hardware, ButtonsPickTheirKeysOfOneNode) {
    NEED(buttonsNode);
    Button power("power", buttonsNode, powerKey);
    Button torch("torch", buttonsNode, torchKey);
    for (const char* event : {"key 542 1", "key 116 1", "key 116 2", "key 116 0", "key 542 0"}) {
        Board::Do(event);
    }
    for (const std::int32_t value : {1, 2, 0}) {
        const InputEventRecord event = power.WaitForEvent();
        EXPECT_EQ(event.value, value);
        EXPECT_EQ(event.type, 1);
        EXPECT_LT(event.microseconds, 1'000'000u);
    }
    for (const std::int32_t value : {1, 0}) {
        EXPECT_EQ(torch.WaitForEvent().value, value);
    }
}

/** Serves the buttons for two seconds in a process of its own, for a service without a device never
 * stops; ends with the number of errors that were reported. */
pid_t ServeButtons() {
    struct Counter final : ButtonObserver {
        void OnButtonUp(Button&) override {}
        void OnButtonDown(Button&) override {}
        void OnButtonError(Button&, Error&) override { ++errors; }
        std::atomic<int> errors{0};
    };
    const pid_t child = ::fork();
    if (child == 0) {
        Button power("power", buttonsNode, powerKey);
        ButtonService service(power);
        Counter counter;
        service.AddObserver(counter);
        service.Start();
        std::this_thread::sleep_for(2s);
        ::_exit(std::min(counter.errors.load(), 99));
    }
    return child;
}

TEST_F(Hardware, ButtonsThatDisappearAreWaitedForQuietly) {
    NEED(buttonsNode);
    const pid_t child = ServeButtons();
    std::this_thread::sleep_for(200ms);
    Board::Do("key 116 1"); // held, so that its release may be left behind unread
    Board::Do("buttons 0");
    EXPECT_FALSE(std::filesystem::exists(buttonsNode));
    int status = -1;
    rusage used{};
    ASSERT_EQ(::wait4(child, &status, 0, &used), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
    const auto processor = std::chrono::seconds(used.ru_utime.tv_sec + used.ru_stime.tv_sec) +
                           std::chrono::microseconds(used.ru_utime.tv_usec + used.ru_stime.tv_usec);
    EXPECT_LT(processor, 500ms);

    Board::Do("buttons 1");
    Button power("power", buttonsNode, powerKey);
    Board::Do("key 116 1");
    EXPECT_EQ(power.WaitForEvent().value, 1);
}

class GaugeHardware : public Hardware {
protected:
    void SetUp() override {
        Hardware::SetUp();
        if (IsSkipped()) {
            return;
        }
        NEED(i2cBus);
        NEED(gpioChip);
        gauge.emplace("vantorel.fuelgauge", i2cBus, gpioChip, 3u);
    }
    std::optional<FuelGauge> gauge;
};

TEST_F(GaugeHardware, ReadsWithItsSigns) {
    Board::Do("level 7");
    Board::Do("current -100");
    Board::Do("voltage 3700");
    Board::Do("gauge-temperature 2981");
    EXPECT_EQ(gauge->Level(), 7);
    EXPECT_EQ(gauge->Current(), -100);
    EXPECT_EQ(gauge->Voltage(), 3.7f);
    EXPECT_EQ(gauge->Temperature(), 24.95001f);
    Board::Do("current 1500");
    Board::Do("gauge-temperature 2631");
    EXPECT_EQ(gauge->Current(), 1500);
    EXPECT_NEAR(gauge->Temperature(), -10.05f, 1e-4f);
    for (const bool battery : {false, true}) {
        Board::Do(battery ? "battery 1" : "battery 0");
        EXPECT_EQ(gauge->IsBatteryConnected(), battery);
    }
    EXPECT_EQ(Board::State("gauge-output"), "0");
    EXPECT_EQ(ErrorOf([] { FuelGauge("second", i2cBus, gpioChip, 3u); }), EBUSY);
}

TEST_F(GaugeHardware, ReadsAsNothingWhileItDoesNotAcknowledge) {
    Board::Do("nack 1");
    EXPECT_EQ(gauge->Level(), 0);
    EXPECT_EQ(gauge->Temperature(), 0.0f);
    EXPECT_FALSE(gauge->IsBatteryConnected());
    Board::Do("nack 0");
    EXPECT_FALSE(gauge->IsBatteryConnected()); // still asks at the ROM mode's address
    gauge->SetAddress(0x55);
    EXPECT_TRUE(gauge->IsBatteryConnected());
    Board::Do("i2c-error 5 1");
    EXPECT_EQ(ErrorOf([&] { gauge->Level(); }), EIO);
    EXPECT_NE(gauge->Level(), 0);
}

TEST_F(GaugeHardware, GoesThroughRomModeAndReset) {
    gauge->Unseal();
    EXPECT_EQ(Board::State("gauge-full-access"), "1");
    gauge->EnterRomMode();
    EXPECT_EQ(Board::State("gauge-address"), "0x0B");
    EXPECT_TRUE(gauge->IsBatteryConnected());
    gauge->ExitRomMode();
    EXPECT_EQ(Board::State("gauge-address"), "0x55");
    EXPECT_NE(gauge->Level(), 0);
    const int resets = std::stoi(Board::State("resets"));
    gauge->Reset();
    EXPECT_EQ(std::stoi(Board::State("resets")), resets + 1);
}

class DisplayHardware : public Hardware {
protected:
    void SetUp() override {
        Hardware::SetUp();
        if (IsSkipped()) {
            return;
        }
        NEED(displayNode);
        lcd.emplace("vantorel.lcd", displayNode);
        watcher.Reset(::open(displayNode, O_RDWR | O_CLOEXEC));
    }
    /** The framebuffer on screen, asked for as anybody else would. */
    std::uint32_t Shown() const {
        std::uint32_t ids[64] = {};
        drm::CardResources resources{};
        resources.crtcIdPointer = reinterpret_cast<std::uintptr_t>(ids);
        resources.countCrtcs = 64;
        drm::Crtc crtc{};
        if (::ioctl(watcher.Get(), drm::GetResources::number, &resources) == 0) {
            crtc.crtcId = ids[0];
            EXPECT_EQ(::ioctl(watcher.Get(), drm::GetCrtc::number, &crtc), 0);
        }
        return crtc.framebufferId;
    }
    std::optional<LCD> lcd;
    UniqueFd watcher;
};

TEST_F(DisplayHardware, ShowsItsBuffersInTurnOnceARefresh) {
    EXPECT_EQ(lcd->Width(), 480);
    EXPECT_EQ(lcd->Height(), 640);
    const std::uint32_t first = Shown();
    std::uint32_t* const second = lcd->BackBuffer();
    second[480 * 640 - 1] = 0xffffff;
    lcd->SwapBuffers();
    EXPECT_EQ(ErrorOf([&] { lcd->SwapBuffers(); }), EBUSY); // the flip is on its way
    lcd->WaitForVSYNC();
    EXPECT_NE(Shown(), first);

    const auto begin = std::chrono::steady_clock::now();
    for (int flip = 0; flip < 31; ++flip) {
        std::fill_n(lcd->BackBuffer(), 480 * 640, 0xffffffu * (flip & 1));
        lcd->SwapBuffers();
        lcd->WaitForVSYNC();
        EXPECT_EQ(Shown() == first, flip % 2 == 0) << "flip " << flip;
    }
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 480ms); // 30 refreshes at 60 Hz, less some
    EXPECT_EQ(lcd->BackBuffer(), second);
}

TEST_F(DisplayHardware, BelongsToOneProcessUntilItIsGivenUp) {
    const auto errorInAnotherProcess = [] {
        const pid_t child = ::fork();
        if (child == 0) {
            ::_exit(ErrorOf([] { LCD("second", displayNode); }));
        }
        int status = -1;
        ::waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    };
    const std::uint32_t first = Shown();
    EXPECT_EQ(errorInAnotherProcess(), EACCES);
    EXPECT_EQ(Shown(), first);
    lcd.reset();
    EXPECT_EQ(errorInAnotherProcess(), 0);
}

class Painter final : public LCDObserver {
public:
    void OnLCDDraw(LCD&, std::uint32_t* pixels) override {
        pixels[0] = static_cast<std::uint32_t>(++frames);
    }
    void OnLCDError(LCD&, Error&) override { ++errors; }
    std::atomic<int> frames{0};
    std::atomic<int> errors{0};
};

TEST_F(DisplayHardware, IsDrawnByItsServiceAtItsRate) {
    LCDService service(*lcd);
    Painter painter;
    service.AddObserver(painter);
    service.Start();
    std::this_thread::sleep_for(1s);
    service.Stop();
    EXPECT_GE(painter.frames, 10); // the emulated processor may not keep up
    EXPECT_LE(painter.frames, 70);
    EXPECT_EQ(painter.errors, 0);
}

} // namespace
} // namespace vantorel
