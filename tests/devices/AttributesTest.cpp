// The devices that are files or lines of the kernel: charger, thermometers, test fixture, torch.

#include "tests/support/ErrorOf.h"
#include "tests/support/IoctlRecorder.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/TemporaryDirectory.h"
#include "vantorel/devices/Charger.h"
#include "vantorel/devices/TestFixture.h"
#include "vantorel/devices/Thermometer.h"
#include "vantorel/devices/ThermometerService.h"
#include "vantorel/devices/Torch.h"
#include "vantorel/service/Error.h"

#include <gtest/gtest.h>

#include <optional>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <linux/gpio.h>
#include <unistd.h>

namespace vantorel {
namespace {

using enum ConnectionState;
using namespace std::string_literals;

// Any other text: tests/fuzz/system_texts.
TEST(Charger, ReadsItsAttributesAnewEachTime) {
    const test::TemporaryDirectory supply;
    supply.Write("online", "");
    supply.Write("status", "");
    Charger charger("charger", supply / "");
    for (const auto& [text, expected] : {std::pair{"1\n", true}, {"0\n", false}, {"", false}}) {
        supply.Write("online", text);
        EXPECT_EQ(charger.IsConnected(), expected) << text;
    }
    for (const auto& [text, expected] :
         {std::pair{"Charging\0"s, true}, {"Charging"s, false}, {"Charging\n"s, false}}) {
        supply.Write("status", text);
        EXPECT_EQ(charger.IsCharging(), expected) << text;
    }
}

TEST(Thermometer, ReadsMillidegreesAnewEachTime) {
    const test::TemporaryDirectory sensor;
    Thermometer thermometer("board", sensor.Write("temp1_input", ""));
    for (const auto& [text, expected] : {std::pair{"45123\n", 45.123f},
                                         {"-5500\n", -5.5f},
                                         {"000000000004512399", 45.123f}, // more than is read
                                         {"unknown\n", 0.0f},
                                         {"", 0.0f}}) {
        sensor.Write("temp1_input", text);
        EXPECT_EQ(thermometer.Temperature(), expected) << text;
    }
}

/** Hears a temperature and fails: an error of its own, none of the thermometer's. */
struct Listener final : ThermometerObserver {
    void OnThermometerTemperatureQuery(Thermometer&, float temperature) override {
        heard = temperature;
        throw Error(EIO);
    }
    void OnThermometerError(Thermometer&, Error&) override { ADD_FAILURE(); }
    float heard = 0;
};

TEST(Thermometer, IsReportedByItsService) {
    const test::TemporaryDirectory sensor;
    Thermometer thermometer("board", sensor.Write("temp1_input", "45123\n"));
    ThermometerService service(thermometer, std::chrono::milliseconds(0));
    Listener listener;
    service.AddObserver(listener);
    EXPECT_THROW(service.ServiceFunction(), Error);
    EXPECT_EQ(listener.heard, 45.123f);
}

TEST(TestFixture, IsConnectedWhileAnyOfItsLinesIsActiveAndLeavesThemOpen) {
    test::ScopedSys sys;
    test::IoctlRecorder ioctls(sys);
    gpio_v2_line_request requested{};
    __u64 active = 0;
    ioctls.On<gpio_v2_line_request>(0xc250b407, [&](gpio_v2_line_request& record) {
        record.fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        requested = record;
        return 0;
    });
    ioctls.On<gpio_v2_line_values>(0xc010b40e, [&](gpio_v2_line_values& values) {
        values.bits = values.mask & active;
        return 0;
    });
    const auto before = test::CountOpenDescriptors();
    const std::string name = "a name that is longer than the label of a line";
    std::optional<TestFixture> fixture(std::in_place, name, "/dev/null");
    EXPECT_EQ(requested.num_lines, 3u);
    EXPECT_EQ(requested.offsets[1], 1u);
    EXPECT_EQ(requested.offsets[2], 2u);
    EXPECT_EQ(requested.config.flags, 6u);
    EXPECT_EQ(std::string(requested.consumer, 32), name.substr(0, 32));
    for (const unsigned bits : {0u, 1u, 2u, 4u, 0u}) {
        active = bits;
        EXPECT_EQ(fixture->IsConnected(), bits != 0) << bits;
    }
    fixture.reset();
    EXPECT_EQ(test::CountOpenDescriptors(), before + 1);
    EXPECT_EQ(::close(requested.fd), 0);
}

class TorchTest : public testing::Test, public TorchObserver {
protected:
    void Build(const std::string& initial) {
        led.Write("brightness", initial);
        torch.emplace("torch", led / "");
        torch->AddObserver(*this);
    }
    void OnTorchOn(Torch&) override { heard += '1'; }
    void OnTorchOff(Torch&) override { heard += '0'; }
    void OnTorchError(Torch&, Error&) override { heard += 'E'; }
    /** What was written until now and, after a blank, what was heard since the last question. */
    std::string Done() {
        // A plain file keeps all that was written since the first character was read.
        return led.Read("brightness").substr(1) + " " + std::exchange(heard, {});
    }

    test::TemporaryDirectory led;
    std::optional<Torch> torch;
    std::string heard;
};

TEST_F(TorchTest, TurnsOverAtEachRequestWhicheverItIs) {
    Build("0");
    torch->OnUserInterfaceTorchOffRequest();
    torch->OnUserInterfaceTorchOnRequest();
    torch->OnUserInterfaceTorchOnRequest();
    torch->On(); // also when lit already
    EXPECT_EQ(Done(), "1011 1011");
    Build("1");
    torch->OnUserInterfaceTorchOnRequest();
    EXPECT_EQ(Done(), "0 0");
    Build("2"); // dimmed: neither on nor off
    torch->Toggle();
    EXPECT_EQ(Done(), " ");
}

TEST_F(TorchTest, ObeysOnlyWhileOnBattery) {
    Build("0");
    torch->OnConnectionStateChanged(Undetermined, Undetermined);
    torch->OnConnectionStateChanged(Battery, Undetermined);
    EXPECT_EQ(Done(), " 0"); // the position is told, not written
    torch->On();
    torch->OnConnectionStateChanged(BatteryCharger, Battery);
    EXPECT_EQ(Done(), "10 10");
    torch->On();
    torch->Off();
    torch->OnConnectionStateChanged(NoBattery, BatteryCharger);
    EXPECT_EQ(Done(), "10 ");
    torch->OnConnectionStateChanged(Battery, BatteryCharger);
    torch->Toggle();
    EXPECT_EQ(Done(), "101 01");
    for (const auto state : {BatteryCharger, NoHost, Host, NoBattery}) {
        Build("0");
        torch->OnConnectionStateChanged(state, Undetermined);
        torch->On();
        EXPECT_EQ(Done(), "0 0") << "state " << static_cast<int>(state);
    }
}

TEST_F(TorchTest, RemembersAPositionThatCouldNotBeWritten) {
    std::filesystem::create_symlink("/dev/full", led / "brightness");
    Build("");
    EXPECT_EQ(test::ErrorOf([&] { torch->On(); }), ENOSPC);
    EXPECT_EQ(heard, "");
    torch->OnConnectionStateChanged(Battery, Undetermined);
    EXPECT_EQ(heard, "1");
}

// For the thread sanitizer.
TEST_F(TorchTest, IsSwitchedByTheUserAndByThePowerAtOnce) {
    Build("0");
    torch.emplace("torch", led / "");
    const std::jthread user([&] {
        for (int i = 0; i < 500; ++i) {
            torch->Toggle();
        }
    });
    for (int i = 0; i < 500; ++i) {
        torch->OnConnectionStateChanged(Battery, BatteryCharger);
        torch->OnConnectionStateChanged(BatteryCharger, Battery);
    }
}

} // namespace
} // namespace vantorel
