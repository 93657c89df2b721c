// From one state of an update to the next, and out of it when something fails.

#include "tests/update/UpdateDevice.h"

namespace vantorel {
namespace {

using testing::HasSubstr;

class UpdateStates : public test::UpdateDevice {};

const std::string flash = "/bin/busybox|flashcp|-v|/tmp/update/";
const std::string setSlot = "/usr/bin/fw_setenv|image_select|";

TEST_F(UpdateStates, InstallInTheSlotThatDoesNotRun) {
    for (const int running : {0, 1}) {
        const std::string fit = running == 0 ? "mtd2" : "mtd0";
        const std::string rootfs = running == 0 ? "mtd3" : "mtd1";
        Renew();
        std::filesystem::remove("/drive/THERMAL.STR");
        Construct("image_select=" + std::to_string(running) + "\n");
        EXPECT_EQ(output->Take(), "IMAGE_SELECT: " + std::to_string(running) + "\n");
        EXPECT_EQ(Poll(1), remount) << "nothing on the drive";
        Pack({"fit", "rootfs", "bqfs", "README"});
        EXPECT_EQ(Poll(1), remount + Transition(1) + "first: found\n");
        EXPECT_EQ(Poll(1), untar + Transition(2) + "first: valid\n");
        EXPECT_EQ(Poll(1), Transition(3) + "first: begin\n");
        EXPECT_EQ(Poll(1), Transition(4));
        EXPECT_FALSE(std::filesystem::exists("/tmp/var/firstboot"));
        EXPECT_EQ(Poll(1), "first: 25 %\n" + flash + "fit|/dev/" + fit + "\nfirst: 50 %\n" + flash +
                               "rootfs|/dev/" + rootfs + "\nfirst: 75 %\n" + setSlot +
                               std::to_string(1 - running) + "\nfirst: 100 %\n" + Transition(5) +
                               "first: complete\n");
        EXPECT_EQ(Poll(2), "") << "it has had its update";
        EXPECT_EQ(test::ReadFile("/flash/" + fit), "new fit");
        EXPECT_EQ(test::ReadFile("/flash/" + rootfs), "new rootfs");
        EXPECT_EQ(test::ReadFile("/tmp/var/update/bqfs"), "new bqfs");
        EXPECT_EQ(test::ReadFile("/tmp/var/firstboot"), "1\n");
    }
}

TEST_F(UpdateStates, BeginWhenAHostComes) {
    sys->Nanosleep = [](const timespec* pause, timespec* rest) {
        EXPECT_EQ(pause->tv_sec * 1000 + pause->tv_nsec / 1'000'000, 250);
        const timespec shorter{0, 1'000'000};
        return ::nanosleep(&shorter, rest);
    };
    manager->OnConnectionStateChanged(ConnectionState::NoHost, ConnectionState::Undetermined);
    manager->OnConnectionStateChanged(ConnectionState::Host, ConnectionState::NoHost);
    EXPECT_TRUE(test::Eventually([&] { return first.complete.load(); }));
    manager->Stop();
}

TEST_F(UpdateStates, NeverBeginWithoutARunningSlot) {
    const std::pair<const char*, const char*> rows[] = {
        {"quiet\n", ""}, {"image_select=2\n", "2"}, {"image_select=\n", ""}, {"", ""}};
    for (const auto& [commandLine, slot] : rows) {
        Construct(commandLine);
        EXPECT_EQ(output->Take(), std::string("IMAGE_SELECT: ") + slot + "\n");
        // Had it started, its destruction would end the process.
        manager->OnConnectionStateChanged(ConnectionState::Host, ConnectionState::NoHost);
    }
}

TEST_F(UpdateStates, EndInOneErrorForEachAndLeaveTheBootLoaderAlone) {
    const std::string fit = "first: 25 %\nsecond: 25 %\n" + flash + "fit|/dev/mtd2\n";
    const std::string half = fit + "first: 50 %\nsecond: 50 %\n";
    const std::string rootfs = half + flash + "rootfs|/dev/mtd3\n";
    const std::string written = rootfs + "first: 75 %\nsecond: 75 %\n";
    const struct {
        const char* what;
        std::function<void()> spoil;
        std::string steps; // of the last poll
    } rows[] = {
        {"no boot image", [&] { Behave("case $3 in *fit) exit 1;; esac"); }, fit},
        {"killed", [&] { Behave("case $3 in *rootfs) kill -9 $$;; esac"); }, rootfs},
        {"no partition", [] { test::WriteFile("/proc/mtd", "mtd2: 0 0 \"FIT_1\"\n"); }, half},
        {"no variable", [&] { Behave("case $1 in image_select) exit 1;; esac"); },
         written + setSlot + "1\n"},
        {"no tool for it", [] { std::filesystem::remove("/usr/bin/fw_setenv"); }, written},
        {"no slot", [] { test::WriteFile("/proc/cmdline", "image_select=2\n"); }, written},
    };
    for (const auto& [what, spoil, steps] : rows) {
        Renew();
        manager->AddObserver(second);
        EXPECT_THAT(Poll(4), HasSubstr(Transition(4))) << what;
        spoil();
        EXPECT_EQ(Poll(1), steps + Transition(6) + "first: error 52\nsecond: error 52\n") << what;
        EXPECT_EQ(Poll(2), "") << what;
        EXPECT_FALSE(std::filesystem::exists("/tmp/var/firstboot")) << what;
    }
}

TEST_F(UpdateStates, FollowOnlyTheOneBefore) {
    const std::string news[] = {"", "found", "valid", "begin", "", "complete", "error 52", ""};
    for (int from = 0; from <= 6; ++from) {
        for (int to = 0; to <= 7; ++to) {
            Construct("image_select=0\n");
            for (int step = from == 6 ? 6 : 1; step <= from; ++step) {
                manager->TransitionToState(static_cast<FirmwareUpdateState>(step));
            }
            output->Take();
            manager->TransitionToState(static_cast<FirmwareUpdateState>(to));
            const bool isTold = (to == from + 1 || to == 6) && !news[to].empty();
            EXPECT_EQ(output->Take(), Transition(to) + (isTold ? "first: " + news[to] + "\n" : ""))
                << "from " << from << " to " << to;
        }
    }
}

} // namespace
} // namespace vantorel
