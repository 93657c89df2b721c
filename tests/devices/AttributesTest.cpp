// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// The devices that use kernel files and GPIO lines: charger, thermometers, test fixture, torch.
// tests/fuzz/system_texts covers the charger's texts.

#include "tests/support/ErrorOf.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/kernel/Gpio.h"
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

#include <unistd.h>

namespace vantorel {
namespace {

using enum ConnectionState;

/** Throws on a temperature: the observer's error, not the thermometer's. */
struct Listener final : ThermometerObserver {
    void OnThermometerTemperatureQuery(Thermometer&, float temperature) override {
        heard = temperature;
        throw Error(EIO);
    }
    void OnThermometerError(Thermometer&, Error&) override { ADD_FAILURE(); }
    float heard = 0;
};

TEST(Thermometer, ReadsMillidegreesAnewEachTimeForItsService) {
    const test::TemporaryDirectory sensor;
    Thermometer thermometer("board", sensor.Write("temp1_input", ""));
    ThermometerService service(thermometer, std::chrono::milliseconds(0));
    Listener listener;
    service.AddObserver(listener);
    for (const auto& [text, expected] : {std::pair{"-5500\n", -5.5f},
                                         {"000000000004512399", 45.123f}, // longer than the read
                                         {"unknown\n", 0.0f}}) {
        sensor.Write("temp1_input", text);
        EXPECT_THROW(service.ServiceFunction(), Error);
        EXPECT_EQ(listener.heard, expected) << text;
    }
}

// The names of the attributes are appended to it: "/a/b" stands for "/a/bonline".
TEST(Directory, IsUsedAsItIsWithoutAnAddedSlash) {
    const test::TemporaryDirectory device;
    for (const auto* attribute : {"online", "status", "brightness"}) {
        device.Write(attribute, "1");
    }
    const std::string slash = device / "";
    const std::string none = slash.substr(0, slash.size() - 1);
    EXPECT_EQ(test::ErrorOf([&] { Charger("charger", slash); }), 0);
    EXPECT_EQ(test::ErrorOf([&] { Charger("charger", none); }), ENOENT);
    EXPECT_EQ(test::ErrorOf([&] { Torch("torch", slash); }), 0);
    EXPECT_EQ(test::ErrorOf([&] { Torch("torch", none); }), ENOENT);
}

struct Inputs {
    test::ScopedSys sys;
    test::IoctlRecorder ioctls{sys};
    test::FakeChip chip{ioctls, GPIO_V2_LINE_FLAG_INPUT};
};

TEST(TestFixture, IsPresentWhenItPullsAnyOfItsThreeLines) {
    Inputs inputs;
    auto& chip = inputs.chip;
    TestFixture fixture("fixture", "/dev/null");
    for (int line = -1; line <= 3; ++line) {
        chip.pulled = line;
        EXPECT_EQ(fixture.IsConnected(), line >= 0 && line < 3) << line;
    }
    ::close(chip.requested.fd);
}

TEST(TestFixture, LeavesItsLinesOpenAndTruncatesALongName) {
    Inputs inputs;
    auto& chip = inputs.chip;
    const std::string name = "a name that is longer than the label of a line";
    { TestFixture fixture(name, "/dev/null"); }
    EXPECT_EQ(std::string(chip.requested.consumer, 32), name.substr(0, 32));
    EXPECT_EQ(::close(chip.requested.fd), 0);
}

class TorchTest : public testing::Test, public TorchObserver {
protected:
    void Build(const std::string& initial) {
        led.Write("brightness", initial);
        torch.emplace("torch", led / "");
        torch->AddObserver(*this);
    }
    void OnTorchOn(Torch&) override {
        if (std::exchange(isOvertaken, false)) {
            std::thread([this] { torch->Off(); }).join();
        }
        heard += '1';
    }
    void OnTorchOff(Torch&) override {
        heard += '0';
        if (std::exchange(lightsOnce, false)) {
            torch->On();
        }
    }
    void OnTorchError(Torch&, Error&) override { heard += 'E'; }
    /** All writes so far and, after a blank, the notifications since the last call. */
    std::string Done() {
        // A plain file keeps every write after its first character.
        return led.Read("brightness").substr(1) + " " + std::exchange(heard, {});
    }

    test::TemporaryDirectory led;
    std::optional<Torch> torch;
    std::string heard;
    bool lightsOnce = false;  // at the next OnTorchOff()
    bool isOvertaken = false; // the next OnTorchOn(), by another thread that switches off
};

TEST_F(TorchTest, TogglesAtEachRequestOfEitherKind) {
    Build("0");
    torch->OnUserInterfaceTorchOffRequest();
    torch->OnUserInterfaceTorchOnRequest();
    torch->OnUserInterfaceTorchOnRequest();
    torch->On(); // writes although it is already lit
    EXPECT_EQ(Done(), "1011 1011");
    Build("2"); // dimmed: neither on nor off
    torch->Toggle();
    EXPECT_EQ(Done(), " ");
}

TEST_F(TorchTest, IgnoresRequestsUnlessOnBattery) {
    Build("0");
    torch->OnConnectionStateChanged(Undetermined, Undetermined);
    torch->OnConnectionStateChanged(Battery, Undetermined);
    EXPECT_EQ(Done(), " 0"); // the position is reported, not written
    for (const auto state : {BatteryCharger, NoHost, Host, NoBattery}) {
        Build("1");
        torch->OnConnectionStateChanged(state, Undetermined);
        torch->On();
        torch->Off();
        EXPECT_EQ(Done(), "0 0") << "state " << static_cast<int>(state);
    }
    torch->OnConnectionStateChanged(Battery, BatteryCharger);
    torch->Toggle();
    EXPECT_EQ(Done(), "01 01");
    lightsOnce = true; // as a click at this moment
    torch->OnConnectionStateChanged(Host, Undetermined);
    EXPECT_EQ(Done(), "01010 0110");
}

TEST_F(TorchTest, ReportsItsPositionLastWhenAnotherThreadSwitchesMeanwhile) {
    Build("0");
    isOvertaken = true;
    torch->On();
    EXPECT_EQ(Done(), "10 010");
}

TEST_F(TorchTest, RemembersAPositionThatCouldNotBeWritten) {
    std::filesystem::create_symlink("/dev/full", led / "brightness");
    Build("");
    EXPECT_EQ(test::ErrorOf([&] { torch->On(); }), ENOSPC);
    EXPECT_EQ(heard, "");
    torch->OnConnectionStateChanged(Battery, Undetermined);
    EXPECT_EQ(heard, "1");
}

// Also for the thread sanitizer.
TEST_F(TorchTest, HandlesConcurrentRequestsAndStateChanges) {
    led.Write("brightness", "0");
    torch.emplace("torch", led / ""); // without an observer
    const std::jthread user([this](const std::stop_token& end) {
        while (!end.stop_requested()) {
            torch->Toggle();
        }
    });
    for (int i = 0; i < 500; ++i) {
        torch->OnConnectionStateChanged(Battery, BatteryCharger);
        torch->OnConnectionStateChanged(BatteryCharger, Battery);
        // A dark LED was the last write, and no request follows.
        ASSERT_TRUE(led.Read("brightness").ends_with('0'));
    }
}

} // namespace
} // namespace vantorel
