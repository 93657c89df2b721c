// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// The power states and the power-off request; tests/device/poweroff.console checks that the device
// then turns off.

#include "tests/support/CameraSimulator.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/kernel/I2c.h"
#include "vantorel/camera/Camera.h"
#include "vantorel/devices/Connection.h"
#include "vantorel/fuelgauge/FuelGauge.h"
#include "vantorel/power/ConnectionManager.h"
#include "vantorel/power/PowerManager.h"
#include "vantorel/service/Error.h"
#include "vantorel/usb/USB.h"

#include <optional>

#include <sys/reboot.h>

namespace vantorel {
namespace {

struct PowerSource final : Connection {
    bool IsConnected() override { return failure == 0 ? online : throw Error(failure); }
    bool online = false;
    int failure = 0;
};

/** The kernel's side of a gauge and a USB port. */
struct Kernel {
    Kernel() {
        sys->Open = [](auto...) { return ::open("/dev/null", O_RDONLY | O_CLOEXEC); };
        sys->Mkdir = [](auto...) { return 0; };
        sys->Read = [this](int, void* buffer, std::size_t size) -> ssize_t {
            const std::string state =
                ++hostChecks >= configuredAtCheck ? "configured\n" : "not attached\n";
            return stateFailure == 0
                       ? static_cast<ssize_t>(state.copy(static_cast<char*>(buffer), size))
                       : test::FailWith(stateFailure);
        };
        sys->Nanosleep = [this](const timespec* request, timespec*) {
            EXPECT_EQ(request->tv_nsec, 100'000'000);
            return ++pauses, 0;
        };
    }

    test::CapturedOutput output;
    test::ScopedSys sys;
    test::FakeBus bus{sys};
    int stateFailure = 0;
    int hostChecks = 0;
    int configuredAtCheck = 1000;
    int pauses = 0;
};

/** The fixture itself is the observer. */
class ConnectionManagerTest : public testing::Test, public ConnectionObserver, protected Kernel {
protected:
    ConnectionManagerTest() {
        Restart();
        // Binding the port waits for a camera.
        sdk.Connect();
        Camera camera(kirocamera_sim_get_camera());
        usb.OnCameraConnect(camera);
    }

    void Restart() {
        manager.emplace(charger, gauge, usb, std::chrono::milliseconds(1));
        manager->AddObserver(*this);
    }

    /** Polls once; returns the notifications. */
    std::string Poll(bool battery, bool online) {
        bus.answers[0x550A] = {static_cast<std::uint8_t>(battery ? 0x08 : 0xF7)};
        charger.online = online;
        heard.clear();
        manager->ServiceFunction();
        return heard;
    }

    void OnConnectionStateChanged(ConnectionState to, ConnectionState from) override {
        heard +=
            std::to_string(static_cast<int>(from)) + ">" + std::to_string(static_cast<int>(to));
        if (throws) {
            throw Error(EIO);
        }
    }
    void OnConnectionError(Error& error) override {
        heard += " error " + std::to_string(error.Value());
    }

    test::ManualCamera sdk;
    PowerSource charger;
    FuelGauge gauge{"gauge", "/dev/i2c", "/dev/gpio", 3};
    USB usb{"usb", "controller.0"};
    std::string heard;
    bool throws = false;
    std::optional<ConnectionManager> manager;
};

TEST_F(ConnectionManagerTest, FollowsBatteryAndCharger) {
    struct Step {
        bool battery, charger;
        const char* heard;
    };
    const std::vector<Step> lives[] = {
        // The loss of the battery is ignored on battery and while the charger is present. State 5
        // is final.
        {{true, false, "0>1"},
         {false, false, ""},
         {true, true, "1>2"},
         {false, true, ""},
         {true, false, "2>1"},
         {false, true, "1>2"},
         {false, false, "2>5"},
         {true, false, ""}},
        {{true, true, "0>2"}},
        {{false, true, "0>5"}, {true, false, ""}},
    };
    for (const auto& life : lives) {
        Restart();
        for (const Step& step : life) {
            output.Take();
            EXPECT_EQ(Poll(step.battery, step.charger), step.heard);
            EXPECT_EQ(output.Take(),
                      *step.heard == '\0'
                          ? ""
                          : std::string("CONNECTION TRANSITION TO STATE: ") + step.heard[2] + "\n");
        }
    }
}

/** Starts a transition when it is notified of the battery. */
struct Nesting final : ConnectionObserver {
    void OnConnectionStateChanged(ConnectionState to, ConnectionState) override {
        if (to == ConnectionState::Battery) {
            manager->TransitionToState(ConnectionState::BatteryCharger);
        }
    }
    void OnConnectionError(Error&) override {}
    ConnectionManager* manager = nullptr;
};

TEST_F(ConnectionManagerTest, PassesEveryObserverTheStatesOfItsTransition) {
    Nesting first;
    first.manager = &manager.emplace(charger, gauge, usb, std::chrono::milliseconds(1));
    manager->AddObserver(first);
    manager->AddObserver(*this);
    EXPECT_EQ(Poll(true, false), "0>20>1");
    EXPECT_EQ(Poll(true, true), "1>2") << "the outer transition ended last";
}

TEST_F(ConnectionManagerTest, WaitsTwentyChecksForAHost) {
    EXPECT_EQ(Poll(false, false), "0>3");
    EXPECT_EQ(hostChecks, 20);
    EXPECT_EQ(pauses, 20);
    EXPECT_EQ(Poll(true, true), "") << "the state is final";
}

TEST_F(ConnectionManagerTest, GoesToHostAsSoonAsOneConfiguresThePort) {
    configuredAtCheck = 3;
    EXPECT_EQ(Poll(false, false), "0>4");
    EXPECT_EQ(pauses, 2);
    EXPECT_EQ(output.Take(), "USB BIND GADGETS\nUSB CONNECTION STATE: not attached\n"
                             "USB CONNECTION STATE: not attached\n"
                             "USB CONNECTION STATE: configured\n"
                             "CONNECTION TRANSITION TO STATE: 4\n");
    charger.failure = ENODEV; // still read and reported
    EXPECT_EQ(Poll(false, false), " error 19");
}

TEST_F(ConnectionManagerTest, DecidesAgainAfterAFailureWithoutBindingThePortAgain) {
    stateFailure = EIO;
    EXPECT_EQ(Poll(false, false), " error 5");
    stateFailure = 0;
    configuredAtCheck = 0;
    throws = true; // the manager repeats a notification that throws
    EXPECT_EQ(Poll(false, false), "0>4 error 5");
    throws = false;
    EXPECT_EQ(Poll(false, false), "0>4");
}

TEST(PowerManager, FlushesAndPowersOffOnlyAtTheUsersRequest) {
    test::ScopedSys sys;
    std::string done;
    sys->Sync = [&] { done += "sync "; };
    sys->Reboot = [&](int command) {
        done += command == RB_POWER_OFF ? "off" : "other";
        return test::FailWith(EPERM);
    };
    PowerManager manager;
    Error error(EIO);
    for (int state = 0; state <= 5; ++state) {
        manager.OnConnectionStateChanged(static_cast<ConnectionState>(state),
                                         ConnectionState::BatteryCharger);
    }
    manager.OnConnectionError(error);
    manager.OnUserInterfaceTorchOnRequest();
    manager.OnUserInterfaceTorchOffRequest();
    manager.OnUserInterfacePowerButtonDoubleClick();
    manager.OnUserInterfaceTorchButtonDoubleClick();
    EXPECT_EQ(done, "");
    manager.OnUserInterfacePowerOffRequest();
    EXPECT_EQ(done, "sync off");
}

} // namespace
} // namespace vantorel
