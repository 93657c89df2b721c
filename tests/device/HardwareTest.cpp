// The hardware classes on the kernel interfaces of the device, with the world around them changed
// through the control file of the virtual board.

#include "tests/device/Board.h"
#include "tests/support/ErrorOf.h"
#include "vantorel/devices/LCD.h"
#include "vantorel/devices/TestFixture.h"
#include "vantorel/devices/private/DrmRequests.h"
#include "vantorel/fuelgauge/FuelGauge.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <optional>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vantorel::test {
namespace {

using namespace std::chrono_literals;

constexpr const char* i2cBus = "/dev/vantorel/i2c";
constexpr const char* gpioChip = "/dev/vantorel/gpio";
constexpr const char* displayNode = "/dev/vantorel/display";

class Hardware : public testing::Test {
protected:
    void SetUp() override {
        if (!Board::IsThere()) {
            GTEST_SKIP() << "needs the virtual board";
        }
    }
};

TEST_F(Hardware, LinesAreReadWrittenAndHeld) {
    TestFixture fixture("vantorel.fixture", gpioChip);
    for (const std::string line : {"fixture 0", "fixture 1", "fixture 2"}) {
        EXPECT_FALSE(fixture.IsConnected());
        Board::Do(line + " 1");
        EXPECT_TRUE(fixture.IsConnected()) << line;
        Board::Do(line + " 0");
    }
    EXPECT_EQ(ErrorOf([] { TestFixture("second", gpioChip); }), EBUSY);
    const FuelGauge gauge("vantorel.fuelgauge", i2cBus, gpioChip, 3u);
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

} // namespace
} // namespace vantorel::test
