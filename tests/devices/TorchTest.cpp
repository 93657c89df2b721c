#include "vantorel/devices/Torch.h"

#include "tests/support/ErrorOf.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <optional>
#include <thread>
#include <utility>

namespace vantorel {
namespace {

using enum ConnectionState;

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
