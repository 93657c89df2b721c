#include "vantorel/devices/Thermometer.h"

#include "tests/support/ErrorOf.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <utility>

namespace vantorel {
namespace {

TEST(Thermometer, ReadsMillidegreesAnewEachTime) {
    const test::TemporaryDirectory sensor;
    Thermometer thermometer("board", sensor.Write("temp1_input", ""));
    for (const auto& [text, expected] : {std::pair{"45123\n", 45.123f},
                                         {"-5500\n", -5.5f},
                                         {"0\n", 0.0f},
                                         {"1e4 and more", 10.0f},
                                         {"0000000000045123", 45.123f}, // fills all that is read
                                         {"000000000004512399", 45.123f},
                                         {"unknown\n", 0.0f},
                                         {"", 0.0f}}) {
        sensor.Write("temp1_input", text);
        EXPECT_EQ(thermometer.Temperature(), expected) << text;
    }
}

TEST(Thermometer, FailsWithTheNumberOfTheFailedCall) {
    const test::TemporaryDirectory sensor;
    EXPECT_EQ(test::ErrorOf([&] { Thermometer("board", sensor / "temp1_input"); }), ENOENT);
}

} // namespace
} // namespace vantorel
