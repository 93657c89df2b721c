// A firmware update: from one state to the next and out of it when something fails, what an archive
// may hold, and what a host may do to it.

#include "tests/support/CapturedOutput.h"
#include "tests/support/PrivateRoot.h"
#include "tests/support/ScriptedSys.h"
#include "vantorel/service/Error.h"
#include "vantorel/service/private/StatusLine.h"
#include "vantorel/system/Filesystem.h"
#include "vantorel/update/FirmwareUpdateManager.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <functional>
#include <optional>

namespace vantorel {
namespace {

using testing::HasSubstr;

/** Prints what it is told between the status lines, and spoils the errors that it is given. */
class UpdateWitness : public FirmwareUpdateObserver {
public:
    explicit UpdateWitness(std::string witnessName) : name(std::move(witnessName)) {}
    void OnFirmwareUpdateFileFound(FirmwareUpdateManager&) override { Say("found"); }
    void OnFirmwareUpdateFileValid(FirmwareUpdateManager&) override { Say("valid"); }
    void OnFirmwareUpdateBegin(FirmwareUpdateManager&) override { Say("begin"); }
    void OnFirmwareUpdateInProgress(FirmwareUpdateManager&, std::uint8_t percent) override {
        Say(std::to_string(percent) + " %");
    }
    void OnFirmwareUpdateComplete(FirmwareUpdateManager&) override { Say("complete"); }
    void OnFirmwareUpdateError(FirmwareUpdateManager&, Error& error) override {
        Say("error " + std::to_string(error.Value()));
        error = Error(1);
    }

private:
    void Say(const std::string& what) { PrintStatus(name, ": ", what); }
    std::string name;
};

/**
 * A device whose archives are unpacked by a real tar, and whose flash is a folder. Everything that
 * happens is printed, in its order: status lines, notifications, mounts, programs.
 */
class Update : public testing::Test {
protected:
    void SetUp() override {
        VANTOREL_NEED_PRIVATE_MOUNTS();
        root.emplace();
        output.emplace(); // keeps a file in the root's /tmp
        test::CoverWithTmpfs("/proc");
        for (const char* directory : {"/tmp/var", "/tmp/update", "/drive", "/flash"}) {
            std::filesystem::create_directories(directory);
        }
        sys->Mount = [](auto...) { return PrintStatus("mount"), 0; };
        sys->Umount = [](const char*) { return PrintStatus("umount"), 0; };
        sys->Rmdir = [](const char*) { return 0; }; // the drive's directory outlives its mount
        test::WriteFile("/proc/mtd", "dev:    size   erasesize  name\n"
                                     "mtd0: 00800000 00020000 \"FIT_0\"\n"
                                     "mtd1: 04000000 00020000 \"rootfs_0\"\n"
                                     "mtd2: 00800000 00020000 \"FIT_1\"\n"
                                     "mtd3: 04000000 00020000 \"rootfs_1\"\n");
        Behave("");
        Pack({"fit", "rootfs"});
        Construct("quiet image_select=0\n");
    }
    void TearDown() override {
        if (root) {
            manager.reset();
            drive.reset();
            output.reset();
            ::umount("/proc");
        }
    }
    /** A new device. */
    void Renew() {
        TearDown();
        SetUp();
    }

    /** The programs' work, after shell commands that may spoil it. */
    void Behave(const std::string& spoiled) {
        root->Behave("echo \"$line\"\n" + spoiled + R"(
case $1 in
tar) exec /bin/tar "$2" "$3" "$4" "$5" 2>/complaints ;;
flashcp) cat "$3" >"/flash/${4##*/}" ;;
esac
)");
    }

    /**
     * Puts an archive on the drive, as a host does: members that have their names as content, and
     * what shell commands make beside them.
     */
    void Pack(const std::vector<std::string>& members, const std::string& commands = ":") {
        std::filesystem::remove_all("/content");
        std::filesystem::create_directory("/content");
        for (const std::string& name : members) {
            test::WriteFile("/content/" + name, "new " + name);
        }
        const std::string pack = "cd /content; " + commands + "; tar -cf /drive/THERMAL.STR *";
        ASSERT_EQ(std::system(pack.c_str()), 0);
    }

    void Construct(const std::string& commandLine) {
        manager.reset();
        drive.reset();
        test::WriteFile("/proc/cmdline", commandLine);
        drive.emplace("/dev/x", "/drive", "none", false, true);
        output->Take();
        manager.emplace(*drive);
        manager->AddObserver(first);
    }

    /** So many polls; answers what happened in them. */
    std::string Poll(int times) {
        output->Take();
        for (int count = 0; count < times; ++count) {
            manager->ServiceFunction();
        }
        return output->Take();
    }

    static std::string Transition(int state) {
        return "FW UPDATE TRANSITION TO STATE: " + std::to_string(state) + "\n";
    }

    std::optional<test::PrivateRoot> root;
    std::optional<test::CapturedOutput> output;
    test::ScopedSys sys;
    UpdateWitness first{"first"};
    UpdateWitness second{"second"};
    std::optional<Filesystem> drive;
    std::optional<FirmwareUpdateManager> manager;
};

constexpr const char* archive = "/drive/THERMAL.STR";
const std::string remount = "umount\nmount\n";
const std::string untar = "/bin/busybox|tar|-xf|/tmp/update/THERMAL.STR|-C|/tmp/update/\n";
const std::string flash = "/bin/busybox|flashcp|-v|/tmp/update/";
const std::string setSlot = "/usr/bin/fw_setenv|image_select|";

TEST_F(Update, InstallsInTheSlotThatDoesNotRun) {
    for (const int running : {0, 1}) {
        const std::string fit = running == 0 ? "mtd2" : "mtd0";
        const std::string rootfs = running == 0 ? "mtd3" : "mtd1";
        Renew();
        std::filesystem::remove(archive);
        Construct("image_select=" + std::to_string(running) + "\n");
        EXPECT_EQ(output->Take(), "IMAGE_SELECT: " + std::to_string(running) + "\n");
        EXPECT_EQ(Poll(1), remount) << "nothing on the drive";
        Pack({"fit", "rootfs", "bqfs", "README"});
        EXPECT_EQ(Poll(4), remount + Transition(1) + "first: found\n" + untar + Transition(2) +
                               "first: valid\n" + Transition(3) + "first: begin\n" + Transition(4));
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

TEST_F(Update, NeverBeginsWithoutARunningSlot) {
    for (const auto& [commandLine, slot] :
         {std::pair{"quiet\n", ""}, {"image_select=2\n", "2"}, {"image_select=\n", ""}}) {
        Construct(commandLine);
        EXPECT_EQ(output->Take(), std::string("IMAGE_SELECT: ") + slot + "\n");
        // Had it begun, its destruction would end the process.
        manager->OnConnectionStateChanged(ConnectionState::Host, ConnectionState::NoHost);
    }
}

TEST_F(Update, EndsInOneErrorForEachAndLeavesTheBootLoaderAlone) {
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

TEST_F(Update, WaitsWhileTheDriveCannotBeMounted) {
    sys->Mount = [](auto...) { return test::FailWith(EINVAL); };
    EXPECT_EQ(Poll(3), "umount\numount\numount\n");
}

TEST_F(Update, FollowsOnlyTheStateBefore) {
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

/** Keeps only the first tenths of the archive on the drive. */
void Truncate(unsigned tenths) {
    std::filesystem::resize_file(archive, std::filesystem::file_size(archive) * tenths / 10);
}

class UpdateArchives : public Update {
protected:
    /** Looks again, at what is on the drive by now. */
    std::string PollAnew(int times) {
        manager->TransitionToState(FirmwareUpdateState::Idle);
        return Poll(times);
    }
    const std::string refusal = remount + Transition(1) + "first: found\n" + untar + Transition(0);
};

TEST_F(UpdateArchives, AreLookedAtAgainWithoutAnErrorWhenTheyAreBad) {
    const std::pair<const char*, std::function<void()>> rows[] = {
        {"no archive", [] { test::WriteFile(archive, std::string(5000, 'x')); }},
        {"nothing but a root file system", [&] { Pack({"rootfs"}); }},
        {"nothing but a boot image", [&] { Pack({"fit"}); }},
        {"a link for a member", [&] { Pack({"rootfs"}, "ln -s /bin/sh fit"); }},
        {"a directory for a member", [&] { Pack({"fit"}, "mkdir rootfs"); }},
        {"a directory called as the archive", [&] { Pack({"fit"}, "mkdir THERMAL.STR"); }},
        {"a link called as it", [&] { Pack({"fit"}, "ln -s /running-firmware THERMAL.STR"); }},
        {"nothing at all", [] { Truncate(0); }},
        {"half of it", [] { Truncate(5); }},
        {"all but its last bytes", [] { Truncate(7); }}, // what is behind them is padding
        {"no tar", [&] { Behave("[ $1 != tar ] || exit 127"); }},
        {"a tar that unpacks nothing", [&] { Behave("[ $1 != tar ] || exit 0"); }},
        {"no room to unpack it",
         [] { test::Must(::mount("tmpfs", "/tmp/update", "tmpfs", 0, "size=64k")); }},
    };
    for (const auto& [what, spoil] : rows) {
        Renew();
        test::WriteFile("/running-firmware", "untouched");
        Pack({"fit"}, "printf %0100000d 0 >rootfs");
        // The unpacked members of a good archive must not complete the bad one.
        EXPECT_THAT(Poll(2), HasSubstr("first: valid"));
        spoil();
        EXPECT_EQ(PollAnew(4), refusal + refusal) << what;
        EXPECT_EQ(test::ReadFile("/running-firmware"), "untouched") << what;
        EXPECT_TRUE(std::filesystem::is_empty("/flash")) << what;

        // What the bad one left is not in the way of the next one.
        ::umount("/tmp/update");
        Behave("");
        Pack({"fit", "rootfs"});
        EXPECT_THAT(Poll(5), HasSubstr("first: complete")) << what;
    }
}

TEST_F(UpdateArchives, AreNotCompletedByWhatLiesAround) {
    Pack({"rootfs"});
    Poll(1);
    test::WriteFile("/tmp/update/fit", "old fit");
    EXPECT_EQ(Poll(1), untar + Transition(0));
}

TEST_F(UpdateArchives, AreFlashedAsTheyWereCheckedWhateverTheHostDoesMeanwhile) {
    const std::function<void()> deeds[] = {[&] {
                                               Pack({"fit", "rootfs", "bqfs"});
                                           },
                                           [] { Truncate(3); },
                                           [] { std::filesystem::remove(archive); }};
    for (const auto& deed : deeds) {
        for (int polls = 1; polls <= 4; ++polls) {
            Renew();
            Pack({"fit"}, "printf checked >rootfs");
            Poll(polls);
            deed();
            EXPECT_THAT(Poll(5 - polls), HasSubstr("first: complete")) << polls;
            EXPECT_EQ(test::ReadFile("/flash/mtd2"), "new fit") << polls;
            EXPECT_EQ(test::ReadFile("/flash/mtd3"), "checked") << polls;
            EXPECT_FALSE(std::filesystem::exists("/tmp/var/update/bqfs")) << polls;
        }
    }
}

TEST_F(UpdateArchives, PassOnAWholeGaugeStreamOfAWholeArchiveOrNone) {
    std::filesystem::create_directory("/tmp/var/update");
    test::Must(::mount("tmpfs", "/tmp/var/update", "tmpfs", 0, "size=64k"));
    test::WriteFile("/secret", "secret");
    const auto polled = [this](const std::vector<std::string>& members, const char* commands) {
        Pack(members, commands);
        const std::string text = PollAnew(2);
        EXPECT_TRUE(std::filesystem::is_empty("/tmp/var/update")) << commands;
        return text;
    };
    EXPECT_THAT(polled({"fit", "rootfs"}, "ln -s /secret bqfs"), HasSubstr("first: valid"));
    EXPECT_THAT(polled({"fit", "bqfs"}, ":"), testing::EndsWith(refusal));
    EXPECT_THAT(polled({"fit", "rootfs"}, "printf %0100000d 0 >bqfs"), HasSubstr("first: valid"))
        << "no room for the stream";
}

} // namespace
} // namespace vantorel
