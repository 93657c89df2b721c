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
        TakeHeard();
    }
    void OnTorchOn(Torch&) override { heard += '1'; }
    void OnTorchOff(Torch&) override { heard += '0'; }
    void OnTorchError(Torch&, Error&) override { heard += 'E'; }
    std::string TakeHeard() { return std::exchange(heard, {}); }
    // A plain file keeps all that was written since the first character was read.
    std::string Written() const { return led.Read("brightness").substr(1); }

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
    EXPECT_EQ(Written(), "1011");
    EXPECT_EQ(TakeHeard(), "1011");
    Build("1");
    torch->OnUserInterfaceTorchOnRequest();
    EXPECT_EQ(Written() + TakeHeard(), "00");
    Build("2"); // dimmed: neither on nor off
    torch->Toggle();
    EXPECT_EQ(Written() + TakeHeard(), "");
}

TEST_F(TorchTest, ObeysOnlyWhileOnBattery) {
    Build("0");
    torch->OnConnectionStateChanged(Undetermined, Undetermined);
    torch->OnConnectionStateChanged(Battery, Undetermined);
    EXPECT_EQ(Written(), ""); // the position is told, not written
    torch->On();
    torch->OnConnectionStateChanged(BatteryCharger, Battery);
    EXPECT_EQ(Written(), "10");
    EXPECT_EQ(TakeHeard(), "010");
    torch->On();
    torch->Off();
    torch->Toggle();
    torch->OnConnectionStateChanged(NoBattery, BatteryCharger);
    EXPECT_EQ(TakeHeard(), "");
    torch->OnConnectionStateChanged(Battery, BatteryCharger);
    torch->Toggle();
    EXPECT_EQ(Written(), "101");
    EXPECT_EQ(TakeHeard(), "01");
    for (const auto state : {BatteryCharger, NoHost, Host, NoBattery}) {
        Build("0");
        torch->OnConnectionStateChanged(state, Undetermined);
        torch->On();
        EXPECT_EQ(Written() + TakeHeard(), "00") << "state " << static_cast<int>(state);
    }
}

TEST_F(TorchTest, RemembersAPositionThatCouldNotBeWritten) {
    std::filesystem::create_symlink("/dev/full", led / "brightness");
    Build("");
    EXPECT_EQ(test::ErrorOf([&] { torch->On(); }), ENOSPC);
    EXPECT_EQ(TakeHeard(), "");
    torch->OnConnectionStateChanged(Battery, Undetermined);
    EXPECT_EQ(TakeHeard(), "1");
}

TEST_F(TorchTest, IsSwitchedByTheUserAndByThePowerAtOnce) {
    led.Write("brightness", "0");
    torch.emplace("torch", led / "");
    {
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
    torch->AddObserver(*this);
    torch->Toggle();
    EXPECT_EQ(TakeHeard(), "");
}

} // namespace
} // namespace vantorel
