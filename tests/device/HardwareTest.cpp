// The hardware classes on the kernel interfaces of the device, with the world around them changed
// through the control file of the virtual board.

#include "tests/device/Board.h"
#include "tests/support/ErrorOf.h"
#include "vantorel/devices/LCD.h"
#include "vantorel/devices/TestFixture.h"
#include "vantorel/fuelgauge/FuelGauge.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>

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

TEST_F(Hardware, DisplayShowsItsBuffersInTurnOnceARefresh) {
    LCD lcd("vantorel.lcd", displayNode);
    EXPECT_EQ(lcd.Width(), 480);
    EXPECT_EQ(lcd.Height(), 640);
    std::uint32_t* const second = lcd.BackBuffer();
    lcd.SwapBuffers();
    EXPECT_EQ(ErrorOf([&] { lcd.SwapBuffers(); }), EBUSY); // the flip is on its way
    lcd.WaitForVSYNC();
    EXPECT_NE(lcd.BackBuffer(), second);
    const auto begin = std::chrono::steady_clock::now();
    for (int flip = 0; flip < 31; ++flip) {
        std::fill_n(lcd.BackBuffer(), 480 * 640, 0xffffffu * (flip & 1));
        lcd.SwapBuffers();
        lcd.WaitForVSYNC();
    }
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 480ms); // 30 refreshes at 60 Hz, less some
    EXPECT_EQ(lcd.BackBuffer(), second);
}

} // namespace
} // namespace vantorel::test
