#include "tests/support/ErrorOf.h"
#include "tests/support/IoctlRecorder.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/TemporaryDirectory.h"
#include "vantorel/devices/Charger.h"
#include "vantorel/devices/TestFixture.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <utility>

#include <fcntl.h>
#include <linux/gpio.h>
#include <unistd.h>

namespace vantorel {
namespace {

using namespace std::string_literals;
using test::CountOpenDescriptors;
using test::ErrorOf;
using test::TemporaryDirectory;

TEST(Charger, ReadsItsAttributesAnewEachTime) {
    const TemporaryDirectory supply;
    supply.Write("online", "");
    supply.Write("status", "");
    Charger charger("charger", supply / "");
    EXPECT_FALSE(charger.IsConnected());
    EXPECT_FALSE(charger.IsCharging());
    for (const auto& [text, expected] : {std::pair{"1\n"s, true},
                                         {"0\n"s, false},
                                         {"1"s, true},
                                         {"2\n"s, false},
                                         {" 1\n"s, false},
                                         {""s, false}}) {
        supply.Write("online", text);
        EXPECT_EQ(charger.IsConnected(), expected) << text;
    }
    for (const auto& [text, expected] : {std::pair{"Charging\n"s, false},
                                         {"Charging\0"s, true},
                                         {"Charging"s, false},
                                         {"Charging\0\n"s, true},
                                         {"Discharging\n"s, false},
                                         {""s, false}}) {
        supply.Write("status", text);
        EXPECT_EQ(charger.IsCharging(), expected) << text;
    }
}

TEST(Charger, FailsWithTheNumberOfTheFailedCallAndKeepsNothingOpen) {
    const TemporaryDirectory supply;
    const auto before = CountOpenDescriptors();
    EXPECT_EQ(ErrorOf([&] { Charger("charger", supply / ""); }), ENOENT);
    supply.Write("online", "1\n"); // "status" is missing still
    EXPECT_EQ(ErrorOf([&] { Charger("charger", supply / ""); }), ENOENT);
    EXPECT_EQ(CountOpenDescriptors(), before);

    std::filesystem::create_directory(supply / "status"); // can be opened, but not read
    {
        Charger charger("charger", supply / "");
        EXPECT_TRUE(charger.IsConnected());
        EXPECT_EQ(ErrorOf([&] { charger.IsCharging(); }), EISDIR);
        const std::string withoutSlash = std::filesystem::path(supply / "").parent_path().string();
        EXPECT_EQ(ErrorOf([&] { Charger("charger", withoutSlash); }), ENOENT);
    }
    EXPECT_EQ(CountOpenDescriptors(), before);
}

class TestFixtureTest : public testing::Test {
protected:
    TestFixtureTest() {
        ioctls.On<gpio_v2_line_request>(0xc250b407, [this](gpio_v2_line_request& record) {
            requested = record;
            record.fd = lineFd = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
            return 0;
        });
        ioctls.On<gpio_v2_line_values>(0xc010b40e, [this](gpio_v2_line_values& values) {
            EXPECT_EQ(values.mask, 7u);
            EXPECT_EQ(values.bits, 0u);
            values.bits = active;
            return 0;
        });
    }

    test::ScopedSys sys;
    test::IoctlRecorder ioctls{sys};
    gpio_v2_line_request requested{};
    __u64 active = 0;
    int lineFd = -1;
};

TEST_F(TestFixtureTest, IsConnectedWhileAnyOfItsLinesIsActive) {
    const std::string name = "a name that is longer than the label of a line";
    TestFixture fixture(name, "/dev/null");
    EXPECT_EQ(requested.num_lines, 3u);
    EXPECT_EQ(requested.offsets[1], 1u);
    EXPECT_EQ(requested.offsets[2], 2u);
    EXPECT_EQ(requested.config.flags, 6u);
    EXPECT_EQ(std::string(requested.consumer, 32), name.substr(0, 32));
    for (const unsigned bits : {0u, 1u, 2u, 4u, 7u, 0u}) {
        active = bits;
        EXPECT_EQ(fixture.IsConnected(), bits != 0) << bits;
    }
    ioctls.FailAfter(0, EIO);
    EXPECT_EQ(ErrorOf([&] { fixture.IsConnected(); }), EIO);
    ::close(lineFd);
}

TEST_F(TestFixtureTest, LeavesOnlyItsLinesOpen) {
    const auto before = CountOpenDescriptors();
    { TestFixture fixture("fixture", "/dev/null"); }
    EXPECT_EQ(CountOpenDescriptors(), before + 1);
    EXPECT_EQ(::close(lineFd), 0);

    ioctls.FailAfter(0, EBUSY);
    EXPECT_EQ(ErrorOf([] { TestFixture("fixture", "/dev/null"); }), EBUSY);
    EXPECT_EQ(CountOpenDescriptors(), before);
}

} // namespace
} // namespace vantorel
