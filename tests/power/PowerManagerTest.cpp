#include "vantorel/power/PowerManager.h"
#include "tests/support/ScriptedSys.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include <sys/reboot.h>

namespace vantorel {
namespace {

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
    EXPECT_THAT(calls, testing::IsEmpty());
    manager.OnUserInterfacePowerOffRequest();
    EXPECT_THAT(calls, testing::ElementsAre("sync", "reboot"));
}

} // namespace
} // namespace vantorel
