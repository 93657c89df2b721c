// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// The hardware classes on the device's kernel interfaces; the virtual board's control file changes
// their environment.

#include "tests/device/Board.h"
#include "tests/support/ErrorOf.h"
#include "tests/support/PrivateRoot.h"
#include "vantorel/devices/Button.h"
#include "vantorel/devices/ButtonService.h"
#include "vantorel/devices/Charger.h"
#include "vantorel/devices/LCD.h"
#include "vantorel/devices/TestFixture.h"
#include "vantorel/devices/private/DrmRequests.h"
#include "vantorel/fuelgauge/FuelGauge.h"
#include "vantorel/system/Tools.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <optional>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vantorel::test {
namespace {

using namespace std::chrono_literals;

constexpr const char* i2cBus = "/dev/vantorel/i2c";
constexpr const char* gpioChip = "/dev/vantorel/gpio";
constexpr const char* chargerDirectory = "/sys/class/power_supply/vantorel-charger/";
constexpr const char* buttonsNode = "/dev/vantorel/buttons";
constexpr const char* displayNode = "/dev/vantorel/display";
constexpr int powerKey = 116;

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

TEST_F(Hardware, ChargerFollowsTheSupply) {
    Charger charger("charger", chargerDirectory);
    for (const bool online : {true, false, true}) {
        Board::Do(online ? "charger 1" : "charger 0");
        EXPECT_EQ(charger.IsConnected(), online);
        EXPECT_FALSE(charger.IsCharging()); // the kernel ends "Charging" with a newline
    }
}

TEST_F(Hardware, TestFixturePullsAnyLineLow) {
    TestFixture fixture("vantorel.fixture", gpioChip);
    for (const std::string line : {"fixture 0", "fixture 1", "fixture 2"}) {
        EXPECT_FALSE(fixture.IsConnected());
        Board::Do(line + " 1");
        EXPECT_TRUE(fixture.IsConnected()) << line;
        Board::Do(line + " 0");
    }
    EXPECT_EQ(ErrorOf([] { TestFixture("second", gpioChip); }), EBUSY);
}

/** Serves the buttons until it is killed; exits with 1 if an error was reported. */
[[noreturn]] void ServeButtons() {
    struct Judge final : ButtonObserver {
        void OnButtonUp(Button&) override {}
        void OnButtonDown(Button&) override {}
        void OnButtonError(Button&, Error&) override { ::_exit(1); }
    } judge;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    Button power("power", buttonsNode, powerKey);
    ButtonService service(power);
    service.AddObserver(judge);
    service.Start();
    for (;;) {
        ::pause();
    }
}

std::chrono::nanoseconds ProcessorTime(pid_t process) {
    clockid_t clock{};
    timespec used{};
    EXPECT_EQ(::clock_getcpuclockid(process, &clock), 0);
    EXPECT_EQ(::clock_gettime(clock, &used), 0);
    return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
}

TEST_F(Hardware, ButtonsThatDisappearAreWaitedForQuietly) {
    const pid_t child = ::fork(); // a service without a device never stops
    if (child == 0) {
        ServeButtons();
    }
    const std::string node = std::filesystem::canonical(buttonsNode);
    ASSERT_TRUE(Eventually([&] { return Tools::GetFd(child, node) != -1; }));
    Board::Do("key 116 1"); // held, so its release may remain unread
    Board::Do("buttons 0");
    EXPECT_FALSE(std::filesystem::exists(buttonsNode));
    // A busy machine that emulates the device lengthens each wake-up, so one quiet period of many
    // is enough: a service without a pause has none.
    EXPECT_TRUE(Eventually([&] {
        const auto begin = ProcessorTime(child);
        std::this_thread::sleep_for(2s);
        return ProcessorTime(child) - begin < 500ms;
    })) << "processor time";
    EXPECT_EQ(::kill(child, SIGKILL), 0);
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status)) << "status " << status;

    Board::Do("buttons 1");
    Button power("power", buttonsNode, powerKey);
    Board::Do("key 116 1");
    EXPECT_EQ(power.WaitForEvent().value, 1);
}

class GaugeHardware : public Hardware {
protected:
    void SetUp() override {
        Hardware::SetUp();
        if (!IsSkipped()) {
            gauge.emplace("vantorel.fuelgauge", i2cBus, gpioChip, 3u);
        }
    }
    std::optional<FuelGauge> gauge;
};

/** The kernel's driver for such gauges, bound to ours; it reads the gauge when bound. */
class KernelGauge {
public:
    KernelGauge() { std::ofstream(bus + "/new_device") << "bq27520g4 0x55" << std::flush; }
    ~KernelGauge() { std::ofstream(bus + "/delete_device") << "0x55" << std::flush; }
    double Read(const std::string& attribute) const {
        double value = NAN;
        std::ifstream("/sys/class/power_supply/bq27520g4-0/" + attribute) >> value;
        return value;
    }

private:
    const std::string bus =
        "/sys/bus/i2c/devices/" +
        std::filesystem::path(std::filesystem::canonical(i2cBus)).filename().string();
};

TEST_F(GaugeHardware, ReadsWhatTheKernelsOwnDriverReads) {
    EXPECT_EQ(std::system("modprobe bq27xxx_battery_i2c"), 0);
    const struct {
        int level, milliamperes, millivolts, decikelvin;
    } sweep[] = {{0, -32768, 0, 0},  {57, -1, 3700, 2731}, {58, 0, 3701, 2732},
                 {7, 1, 4200, 2981}, {99, 256, 255, 3331}, {100, 32767, 65535, 65535}};
    for (const auto& [level, milliamperes, millivolts, decikelvin] : sweep) {
        Board::Do("level " + std::to_string(level));
        Board::Do("current " + std::to_string(milliamperes));
        Board::Do("voltage " + std::to_string(millivolts));
        Board::Do("gauge-temperature " + std::to_string(decikelvin));
        const KernelGauge kernel;
        EXPECT_EQ(gauge->Level(), level);
        EXPECT_EQ(kernel.Read("capacity"), level);
        EXPECT_EQ(gauge->Current(), milliamperes);
        EXPECT_EQ(kernel.Read("current_now"), milliamperes * 1000.0);
        EXPECT_FLOAT_EQ(gauge->Voltage(), static_cast<float>(millivolts) / 1000);
        EXPECT_EQ(kernel.Read("voltage_now"), millivolts * 1000.0);
        EXPECT_NEAR(gauge->Temperature(), decikelvin / 10.0 - 273.15, 1e-3);
        // The driver counts from 273.1 K.
        EXPECT_NEAR(kernel.Read("temp") / 10, gauge->Temperature(), 0.051);
    }
}

TEST_F(GaugeHardware, IsPresentByItsFlagAndHoldsItsLine) {
    for (const bool battery : {false, true}) {
        Board::Do(battery ? "battery 1" : "battery 0");
        EXPECT_EQ(gauge->IsBatteryConnected(), battery);
    }
    EXPECT_EQ(Board::State("gauge-output"), "0");
    EXPECT_EQ(ErrorOf([] { FuelGauge("second", i2cBus, gpioChip, 3u); }), EBUSY);
}

class DisplayHardware : public Hardware {
protected:
    void SetUp() override {
        Hardware::SetUp();
        if (!IsSkipped()) {
            lcd.emplace("vantorel.lcd", displayNode);
            watcher.Reset(::open(displayNode, O_RDWR | O_CLOEXEC));
        }
    }
    /** The framebuffer on screen, read as any process can. */
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
    /** The kernel's own mappings of the pictures, one per line. */
    static std::string KernelsMappings() {
        std::string found;
        std::ifstream all("/proc/vmallocinfo");
        for (std::string line; std::getline(all, line);) {
            if (line.find("drm_gem_shmem_vmap") != std::string::npos) {
                found += line + '\n';
            }
        }
        return found;
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
    // A busy machine may come to the second flip only when the first one is done.
    EXPECT_TRUE(Eventually([&] {
        lcd->SwapBuffers();
        const int error = ErrorOf([&] { lcd->SwapBuffers(); });
        lcd->WaitForVSYNC();
        if (error == 0) {
            lcd->WaitForVSYNC();
        }
        return error == EBUSY;
    })) << "a flip is pending";
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

// The kernel reclaims 32 MB of released mappings at once, page by page. On an emulated processor
// that takes more than a refresh, twice a second if each flip releases a mapping.
TEST_F(DisplayHardware, FlipsWithoutNewMappingsInTheKernel) {
    const std::string mappings = KernelsMappings();
    EXPECT_EQ(std::ranges::count(mappings, '\n'), 2);
    for (int flip = 0; flip < 4; ++flip) {
        lcd->SwapBuffers();
        lcd->WaitForVSYNC();
        EXPECT_EQ(KernelsMappings(), mappings) << "flip " << flip;
    }
    lcd.reset();
    EXPECT_EQ(KernelsMappings(), "");
}

TEST_F(DisplayHardware, RefusesASecondProcessUntilItIsClosed) {
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

} // namespace
} // namespace vantorel::test
