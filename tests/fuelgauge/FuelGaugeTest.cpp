#include "vantorel/fuelgauge/FuelGauge.h"

#include "tests/fuelgauge/FakeBus.h"
#include "tests/support/ErrorOf.h"
#include "tests/support/OpenDescriptors.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <thread>

#include <fcntl.h>
#include <linux/gpio.h>
#include <unistd.h>

namespace vantorel {
namespace {

using test::ErrorOf;
using test::FailWith;
using testing::ElementsAre;

class FuelGaugeTest : public testing::Test {
protected:
    FuelGaugeTest() {
        bus.ioctls.On<gpio_v2_line_request>(0xc250b407, [this](gpio_v2_line_request& record) {
            requested = record;
            record.fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
            return 0;
        });
        Build("gauge");
        bus.Take();
    }
    void Build(const std::string& name) {
        gauge.reset();
        gauge.emplace(name, "/dev/null", "/dev/null", 3u);
    }
    // Answers of the readings, the floats exactly.
    std::vector<float> Readings() {
        return {static_cast<float>(gauge->Level()), static_cast<float>(gauge->Current()),
                gauge->Voltage(), gauge->Temperature()};
    }

    test::ScopedSys sys;
    test::FakeBus bus{sys};
    gpio_v2_line_request requested{};
    std::optional<FuelGauge> gauge;
};

TEST_F(FuelGaugeTest, HoldsItsLineAsAnOutputForItsLife) {
    gauge.reset();
    const auto before = test::CountOpenDescriptors();
    const std::string name = "a name that is longer than the label of a line";
    Build(name);
    EXPECT_THAT(bus.Take(), ElementsAre("address 55"));
    EXPECT_EQ(requested.num_lines, 1u);
    EXPECT_EQ(requested.offsets[0], 3u);
    EXPECT_EQ(requested.config.flags, 8u);
    EXPECT_EQ(requested.config.num_attrs, 0u);
    EXPECT_EQ(std::string(requested.consumer, 32), name.substr(0, 32));
    EXPECT_EQ(test::CountOpenDescriptors(), before + 2); // bus and line, not the chip
    gauge.reset();
    EXPECT_EQ(test::CountOpenDescriptors(), before);

    bus.ioctls.FailAfter(1, EBUSY); // the line, not the address
    EXPECT_EQ(ErrorOf([&] { Build(name); }), EBUSY);
    bus.slaveError = EACCES;
    EXPECT_EQ(ErrorOf([&] { Build(name); }), EACCES);
    EXPECT_EQ(ErrorOf([] { FuelGauge("gauge", "/dev/null/none", "/dev/null", 3u); }), ENOTDIR);
    EXPECT_EQ(test::CountOpenDescriptors(), before);
}

TEST_F(FuelGaugeTest, ReadsItsRegisters) {
    bus.Answer(0x55, 0x20, {87});
    bus.Answer(0x55, 0x22, {0x9C, 0xFF});
    bus.Answer(0x55, 0x08, {0x74, 0x0E});
    bus.Answer(0x55, 0x06, {0xA5, 0x0B});
    EXPECT_THAT(Readings(), ElementsAre(87.0f, -100.0f, 3.7f, 24.95001f));
    EXPECT_THAT(bus.Take(),
                ElementsAre("55 w 20 r 1", "55 w 22 r 2", "55 w 08 r 2", "55 w 06 r 2"));

    bus.Answer(0x55, 0x20, {255});
    bus.Answer(0x55, 0x22, {0xFF, 0x7F});
    bus.Answer(0x55, 0x08, {0xFF, 0xFF});
    bus.Answer(0x55, 0x06, {0, 0});
    EXPECT_THAT(Readings(), ElementsAre(255.0f, 32767.0f, 65.535f, -273.15f));
}

TEST_F(FuelGaugeTest, FindsTheBatteryByItsFlag) {
    for (const int flags : {0x00, 0x08, 0xF7, 0xFF}) {
        bus.Answer(0x55, 0x0A, {static_cast<std::uint8_t>(flags)});
        EXPECT_EQ(gauge->IsBatteryConnected(), (flags & 8) != 0) << flags;
    }
    bus.errors = {{"55 w 0a r 1", EIO}};
    EXPECT_EQ(ErrorOf([&] { gauge->IsBatteryConnected(); }), EIO);
    EXPECT_THAT(bus.Take(), testing::Each("55 w 0a r 1"));
}

TEST_F(FuelGaugeTest, FindsAGaugeInRomModeAndStaysWithIt) {
    bus.answering = {0x0B};
    bus.Answer(0x0B, 0x20, {42});
    EXPECT_TRUE(gauge->IsBatteryConnected());
    EXPECT_EQ(gauge->Level(), 42);
    EXPECT_THAT(bus.Take(), ElementsAre("55 w 0a r 1", "address 0b", "0b w 00 r 1", "0b w 20 r 1"));

    bus.answering.clear();
    EXPECT_FALSE(gauge->IsBatteryConnected());
    bus.errors = {{"0b w 00 r 1", EIO}};
    EXPECT_FALSE(gauge->IsBatteryConnected());
    bus.slaveError = EBUSY;
    EXPECT_FALSE(gauge->IsBatteryConnected());
}

TEST_F(FuelGaugeTest, IsResetAfterItsKeysAndMayBeGoneBeforeItAcknowledges) {
    const struct {
        const char* transfer;
        int error, thrown;
    } cases[] = {{"", 0, 0},
                 {"55 w 00 41 00", ENXIO, 0},
                 {"55 w 00 41 00", EIO, EIO},
                 {"55 w 00 47 1e", ENXIO, ENXIO}}; // not acknowledging a key is no restart
    for (const auto& [transfer, error, thrown] : cases) {
        gauge->SetAddress(0x0B);
        bus.errors = {{transfer, error}};
        bus.Take();
        EXPECT_EQ(ErrorOf([&] { gauge->Reset(); }), thrown);
        const auto notes = bus.Take();
        EXPECT_EQ(notes[0], "address 55");
        EXPECT_EQ(notes.back(), thrown == ENXIO ? transfer : "55 w 00 41 00");
    }
}

TEST_F(FuelGaugeTest, RefusesWhatNoMessageCanHold) {
    std::vector<std::uint8_t> bytes(0x10000);
    EXPECT_EQ(ErrorOf([&] { gauge->ReadRegister(0, nullptr, 1); }), EINVAL);
    EXPECT_EQ(ErrorOf([&] { gauge->ReadRegister(0, bytes.data(), 0xffff); }), EINVAL);
    EXPECT_EQ(ErrorOf([&] { gauge->WriteRegister(0, bytes.data(), 0xffff); }), EINVAL);
    EXPECT_THAT(bus.Take(), ElementsAre());
    EXPECT_EQ(ErrorOf([&] { gauge->WriteRegister(0, bytes.data(), 0xfffe); }), 0);
}

// The connection manager looks for the battery while the gauge's own service reads it.
TEST(FuelGaugeThreads, ProbeAndReadAtOnce) {
    test::ScopedSys sys;
    std::atomic<int> wrongAddresses{0};
    sys->Ioctl = [&](int, unsigned long request, void* argument) {
        if (request == I2C_RDWR) {
            const auto& transfer = *static_cast<i2c_rdwr_ioctl_data*>(argument);
            const auto address = transfer.msgs[0].addr;
            wrongAddresses += address != 0x55 && address != 0x0B;
            wrongAddresses += address != transfer.msgs[transfer.nmsgs - 1].addr;
            return FailWith(ENXIO);
        }
        if (request == GPIO_V2_GET_LINE_IOCTL) {
            static_cast<gpio_v2_line_request*>(argument)->fd = -1;
        }
        return 0;
    };
    FuelGauge gauge("gauge", "/dev/null", "/dev/null", 3u);
    {
        const std::jthread reader([&] {
            for (int i = 0; i < 500; ++i) {
                EXPECT_EQ(gauge.Level(), 0);
            }
        });
        for (int i = 0; i < 500; ++i) {
            EXPECT_FALSE(gauge.IsBatteryConnected());
            gauge.SetAddress(0x55);
        }
    }
    EXPECT_EQ(wrongAddresses, 0);
}

} // namespace
} // namespace vantorel
