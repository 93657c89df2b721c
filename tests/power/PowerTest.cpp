// How the device is powered, and how it is turned off.

#include "tests/support/CameraSimulator.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/ScriptedSys.h"
#include "vantorel/camera/Camera.h"
#include "vantorel/devices/Connection.h"
#include "vantorel/fuelgauge/FuelGauge.h"
#include "vantorel/power/ConnectionManager.h"
#include "vantorel/power/PowerManager.h"
#include "vantorel/service/Error.h"
#include "vantorel/usb/USB.h"

#include <gmock/gmock.h>

#include <cstring>
#include <optional>

#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <sys/reboot.h>

namespace vantorel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct PowerSource final : Connection {
    bool IsConnected() override {
        if (failure != 0) {
            throw Error(failure);
        }
        return online;
    }
    bool online = false;
    int failure = 0;
};

struct Announcement final : ConnectionObserver {
    explicit Announcement(std::vector<std::string>& into) : log(into) {}
    void OnConnectionStateChanged(ConnectionState to, ConnectionState from) override {
        log.push_back(std::to_string(static_cast<int>(from)) + ">" +
                      std::to_string(static_cast<int>(to)));
        if (throws) {
            throw Error(EIO);
        }
    }
    void OnConnectionError(Error& error) override {
        log.push_back("error " + std::to_string(error.Value()));
    }
    std::vector<std::string>& log;
    bool throws = false;
};

/** A gauge and a USB port whose kernel side is scripted. */
class ConnectionManagerTest : public testing::Test {
protected:
    ConnectionManagerTest() {
        sys->Open = [](const char*, int, unsigned) { return 1000; };
        sys->Close = [](int) { return 0; };
        sys->Mkdir = [](const char*, mode_t) { return 0; };
        sys->Lseek = [](int, off_t, int) { return 0; };
        sys->Ioctl = [this](int, unsigned long request, void* argument) {
            return request == I2C_RDWR ? Transfer(argument) : 0;
        };
        sys->Read = [this](int, void* buffer, std::size_t size) -> ssize_t {
            ++hostChecks;
            if (stateFailure != 0) {
                return test::FailWith(stateFailure);
            }
            const std::string text =
                hostChecks >= configuredAtCheck ? "configured\n" : "not attached\n";
            std::strncpy(static_cast<char*>(buffer), text.c_str(), size);
            return static_cast<ssize_t>(text.size());
        };
        sys->Nanosleep = [this](const timespec* request, timespec*) {
            EXPECT_EQ(request->tv_nsec, 100'000'000);
            ++pauses;
            return 0;
        };
        gauge.emplace("gauge", "/dev/i2c", "/dev/gpio", 3);
        usb.emplace("usb", "controller.0");
        manager.emplace(charger, *gauge, *usb, std::chrono::milliseconds(1));
        manager->AddObserver(first);
        manager->AddObserver(second);
    }
    int Transfer(void* argument) {
        if (gaugeFailure != 0) {
            return test::FailWith(gaugeFailure);
        }
        const auto& data = *static_cast<i2c_rdwr_ioctl_data*>(argument);
        data.msgs[1].buf[0] = battery ? 0x08 : 0x00;
        return 2;
    }

    /** One poll; answers what the two observers heard. */
    std::vector<std::string> Poll(bool batteryThere, bool online) {
        battery = batteryThere;
        charger.online = online;
        log.clear();
        manager->ServiceFunction();
        return log;
    }

    /** Lets the port be bound without waiting, as after a camera has connected. */
    void ConnectCamera() {
        sdk.Connect();
        Camera camera(kirocamera_sim_get_camera());
        usb->OnCameraConnect(camera);
    }

    test::CapturedOutput output;
    test::ManualCamera sdk;
    test::ScopedSys sys;
    PowerSource charger;
    std::vector<std::string> log;
    Announcement first{log};
    Announcement second{log};
    bool battery = false;
    int gaugeFailure = 0;
    int stateFailure = 0;
    int hostChecks = 0;
    int configuredAtCheck = 1000;
    int pauses = 0;
    std::optional<FuelGauge> gauge;
    std::optional<USB> usb;
    std::optional<ConnectionManager> manager;
};

TEST_F(ConnectionManagerTest, FollowsTheChargerOnBatteryAndFaultsWhenBothAreGone) {
    gaugeFailure = ETIMEDOUT;
    EXPECT_THAT(Poll(true, false), ElementsAre("error 110", "error 110"));
    gaugeFailure = 0;
    EXPECT_THAT(Poll(true, false), ElementsAre("0>1", "0>1"));
    EXPECT_EQ(output.Take(), "CONNECTION TRANSITION TO STATE: 1\n");
    EXPECT_THAT(Poll(false, false), IsEmpty()) << "the loss of the battery is not looked at";
    EXPECT_THAT(Poll(true, true), ElementsAre("1>2", "1>2"));
    EXPECT_THAT(Poll(false, true), IsEmpty()) << "nor is it while the charger is there";
    EXPECT_THAT(Poll(true, false), ElementsAre("2>1", "2>1"));
    EXPECT_THAT(Poll(false, true), ElementsAre("1>2", "1>2"));
    EXPECT_THAT(Poll(false, false), ElementsAre("2>5", "2>5"));
    EXPECT_THAT(Poll(true, false), IsEmpty()) << "final";
    EXPECT_EQ(output.Take(),
              "CONNECTION TRANSITION TO STATE: 2\nCONNECTION TRANSITION TO STATE: 1\n"
              "CONNECTION TRANSITION TO STATE: 2\nCONNECTION TRANSITION TO STATE: 5\n");
}

TEST_F(ConnectionManagerTest, DecidesAtStartUpByBatteryAndCharger) {
    EXPECT_THAT(Poll(true, true), ElementsAre("0>2", "0>2"));
    manager.emplace(charger, *gauge, *usb, std::chrono::milliseconds(1));
    manager->AddObserver(first);
    EXPECT_THAT(Poll(false, true), ElementsAre("0>5"));
    EXPECT_THAT(Poll(true, false), IsEmpty()) << "final";
}

TEST_F(ConnectionManagerTest, WaitsTwentyChecksForAHost) {
    ConnectCamera();
    EXPECT_THAT(Poll(false, false), ElementsAre("0>3", "0>3"));
    EXPECT_EQ(hostChecks, 20);
    EXPECT_EQ(pauses, 20);
    EXPECT_THAT(Poll(true, true), IsEmpty()) << "final";
}

TEST_F(ConnectionManagerTest, GoesToHostAsSoonAsOneConfiguresThePort) {
    ConnectCamera();
    configuredAtCheck = 3;
    EXPECT_THAT(Poll(false, false), ElementsAre("0>4", "0>4"));
    EXPECT_EQ(pauses, 2);
    charger.failure = ENODEV; // still read, and still reported
    EXPECT_THAT(Poll(false, false), ElementsAre("error 19", "error 19"));
}

TEST_F(ConnectionManagerTest, AnnouncesAgainWhenAnObserverThrew) {
    second.throws = true;
    EXPECT_THAT(Poll(true, false), ElementsAre("0>1", "0>1", "error 5", "error 5"));
    second.throws = false;
    EXPECT_THAT(Poll(true, false), ElementsAre("0>1", "0>1"));
    EXPECT_EQ(output.Take(),
              "CONNECTION TRANSITION TO STATE: 1\nCONNECTION TRANSITION TO STATE: 1\n");
}

TEST_F(ConnectionManagerTest, RepeatsTheWaitForAHostWithoutBindingThePortAgain) {
    ConnectCamera();
    stateFailure = EIO;
    EXPECT_THAT(Poll(false, false), ElementsAre("error 5", "error 5"));
    stateFailure = 0;
    configuredAtCheck = 0;
    first.throws = true;
    EXPECT_THAT(Poll(false, false), ElementsAre("0>4", "error 5", "error 5"));
    first.throws = false;
    EXPECT_THAT(Poll(false, false), ElementsAre("0>4", "0>4"));
    EXPECT_THAT(output.Take(), testing::StartsWith("USB BIND GADGETS\n"));
}

TEST(PowerManager, WritesBackBeforeItPowersOffAndSurvivesARefusal) {
    test::ScopedSys sys;
    std::vector<std::string> calls;
    sys->Sync = [&] { calls.push_back("sync"); };
    sys->Reboot = [&](int command) {
        EXPECT_EQ(command, RB_POWER_OFF);
        calls.push_back("reboot");
        return test::FailWith(EPERM);
    };
    PowerManager manager;
    manager.OnConnectionStateChanged(ConnectionState::NoBattery, ConnectionState::Battery);
    manager.OnUserInterfacePowerButtonDoubleClick();
    EXPECT_THAT(calls, IsEmpty());
    manager.OnUserInterfacePowerOffRequest();
    EXPECT_THAT(calls, ElementsAre("sync", "reboot"));
}

} // namespace
} // namespace vantorel
