#include "vantorel/devices/Torch.h"

#include "tests/support/ErrorOf.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <utility>

namespace vantorel {
namespace {

class Recorder final : public TorchObserver {
public:
    void OnTorchOn(Torch&) override { heard += '1'; }
    void OnTorchOff(Torch&) override { heard += '0'; }
    void OnTorchError(Torch&, Error&) override { heard += 'E'; }
    std::string Take() { return std::exchange(heard, {}); }

private:
    std::string heard;
};

class TorchTest : public testing::Test {
protected:
    void Build(const std::string& initial) {
        led.Write("brightness", initial);
        torch.emplace("torch", led / "");
        torch->AddObserver(recorder);
    }
    // A plain file keeps all that was written since the first character was read.
    std::string Written() const { return led.Read("brightness").substr(1); }

    test::TemporaryDirectory led;
    std::optional<Torch> torch;
    Recorder recorder;
};

TEST_F(TorchTest, TurnsOverAtEachRequestWhicheverItIs) {
    Build("0");
    torch->OnUserInterfaceTorchOffRequest();
    torch->OnUserInterfaceTorchOnRequest();
    torch->OnUserInterfaceTorchOnRequest();
    EXPECT_EQ(Written(), "101");
    EXPECT_EQ(recorder.Take(), "101");
    torch->On(); // also when lit already
    EXPECT_EQ(Written(), "1011");
    EXPECT_EQ(recorder.Take(), "1");
}

TEST_F(TorchTest, StartsFromThePositionItFinds) {
    Build("1");
    torch->OnUserInterfaceTorchOnRequest();
    EXPECT_EQ(Written(), "0");
    Build("2"); // dimmed: neither on nor off
    recorder.Take();
    torch->Toggle();
    EXPECT_EQ(Written() + recorder.Take(), "");
}

TEST_F(TorchTest, ObeysOnlyWhileOnBattery) {
    Build("0");
    torch->OnConnectionStateChanged(ConnectionState::Undetermined, ConnectionState::Undetermined);
    torch->OnConnectionStateChanged(ConnectionState::Battery, ConnectionState::Undetermined);
    EXPECT_EQ(Written(), ""); // the position is told, not written
    EXPECT_EQ(recorder.Take(), "0");
    torch->On();
    recorder.Take();
    torch->OnConnectionStateChanged(ConnectionState::BatteryCharger, ConnectionState::Battery);
    EXPECT_EQ(Written(), "10");
    EXPECT_EQ(recorder.Take(), "0");

    torch->On();
    torch->Off();
    torch->Toggle();
    torch->OnConnectionStateChanged(ConnectionState::NoBattery, ConnectionState::BatteryCharger);
    EXPECT_EQ(Written(), "10");
    EXPECT_EQ(recorder.Take(), "");

    torch->OnConnectionStateChanged(ConnectionState::Battery, ConnectionState::BatteryCharger);
    torch->Toggle();
    EXPECT_EQ(Written(), "101");
    EXPECT_EQ(recorder.Take(), "01");
}

TEST_F(TorchTest, IsPutOutInEveryOtherState) {
    for (const auto state : {ConnectionState::BatteryCharger, ConnectionState::NoHost,
                             ConnectionState::Host, ConnectionState::NoBattery}) {
        Build("0");
        torch->OnConnectionStateChanged(state, ConnectionState::Undetermined);
        torch->On();
        EXPECT_EQ(Written(), "0");
        EXPECT_EQ(recorder.Take(), "0") << "state " << static_cast<int>(state);
    }
}

TEST_F(TorchTest, RemembersAPositionThatCouldNotBeWritten) {
    std::filesystem::create_symlink("/dev/full", led / "brightness");
    torch.emplace("torch", led / "");
    torch->AddObserver(recorder);
    EXPECT_EQ(test::ErrorOf([&] { torch->On(); }), ENOSPC);
    EXPECT_EQ(recorder.Take(), "");
    torch->OnConnectionStateChanged(ConnectionState::Battery, ConnectionState::Undetermined);
    EXPECT_EQ(recorder.Take(), "1");
}

TEST_F(TorchTest, IsSwitchedByTheUserAndByThePowerAtOnce) {
    led.Write("brightness", "0");
    torch.emplace("torch", led / "");
    {
        std::jthread user([&] {
            for (int i = 0; i < 500; ++i) {
                torch->Toggle();
            }
        });
        for (int i = 0; i < 500; ++i) {
            torch->OnConnectionStateChanged(ConnectionState::Battery,
                                            ConnectionState::BatteryCharger);
            torch->OnConnectionStateChanged(ConnectionState::BatteryCharger,
                                            ConnectionState::Battery);
        }
    }
    torch->AddObserver(recorder);
    torch->Toggle();
    EXPECT_EQ(recorder.Take(), "");
}

} // namespace
} // namespace vantorel
