#include "tests/support/CapturedOutput.h"
#include "tests/support/PrivateRoot.h"
#include "tests/support/ScriptedSys.h"
#include "vantorel/service/Error.h"
#include "vantorel/service/private/StatusLine.h"
#include "vantorel/system/Filesystem.h"
#include "vantorel/update/FirmwareUpdateManager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <functional>
#include <optional>

namespace vantorel {
namespace {

using testing::HasSubstr;

/** Prints what it is told between the status lines, and spoils the errors that it is given. */
class Witness : public FirmwareUpdateObserver {
public:
    explicit Witness(std::string witnessName) : name(std::move(witnessName)) {}
    void OnFirmwareUpdateFileFound(FirmwareUpdateManager&) override { Say("found"); }
    void OnFirmwareUpdateFileValid(FirmwareUpdateManager&) override { Say("valid"); }
    void OnFirmwareUpdateBegin(FirmwareUpdateManager&) override { Say("begin"); }
    void OnFirmwareUpdateInProgress(FirmwareUpdateManager&, std::uint8_t percent) override {
        Say(std::to_string(percent) + " %");
    }
    void OnFirmwareUpdateComplete(FirmwareUpdateManager&) override {
        Say("complete");
        complete = true;
    }
    void OnFirmwareUpdateError(FirmwareUpdateManager&, Error& error) override {
        Say("error " + std::to_string(error.Value()));
        error = Error(1);
    }

    std::atomic<bool> complete = false;

private:
    void Say(const std::string& what) { PrintStatus(name, ": ", what); }
    std::string name;
};

/**
 * A device whose archives are unpacked by a real tar, and whose flash is a folder. Everything that
 * happens is printed, in its order: status lines, notifications, mounts, programs.
 */
class FirmwareUpdateTest : public testing::Test {
protected:
    void SetUp() override {
        VANTOREL_NEED_PRIVATE_MOUNTS();
        root.emplace();
        output.emplace(); // keeps a file in the root's /tmp
        test::CoverWithTmpfs("/proc");
        for (const char* directory : {"/tmp/var", "/tmp/update", "/drive", "/flash"}) {
            std::filesystem::create_directories(directory);
        }
        sys->Mount = [](const char*, const char* target, const char*, unsigned long, const void*) {
            PrintStatus("mount ", target);
            return 0;
        };
        sys->Umount = [](const char* target) {
            PrintStatus("umount ", target);
            return 0;
        };
        sys->Rmdir = [](const char*) { return 0; }; // the drive's directory outlives its mount
        test::WriteFile("/proc/mtd", "dev:    size   erasesize  name\n"
                                     "mtd0: 00800000 00020000 \"FIT_0\"\n"
                                     "mtd1: 04000000 00020000 \"rootfs_0\"\n"
                                     "mtd2: 00800000 00020000 \"FIT_1\"\n"
                                     "mtd3: 04000000 00020000 \"rootfs_1\"\n");
        Behave("");
        Content({"fit", "rootfs"});
    }
    void TearDown() override {
        if (root) {
            manager.reset();
            drive.reset();
            ::umount("/proc");
        }
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

    /** Makes the files of the next archive, each with its name as content. */
    void Content(const std::vector<std::string>& names) {
        std::filesystem::remove_all("/content");
        std::filesystem::create_directory("/content");
        for (const std::string& name : names) {
            test::WriteFile("/content/" + name, "new " + name);
        }
    }

    /** Packs the content and puts it on the drive, as a host does. */
    void Pack() {
        std::string command = "tar -cf /drive/THERMAL.STR -C /content";
        for (const auto& entry : std::filesystem::directory_iterator("/content")) {
            command += " " + entry.path().filename().string();
        }
        ASSERT_EQ(std::system(command.c_str()), 0);
    }

    void Construct(const std::string& commandLine = "quiet image_select=0\n") {
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

    std::optional<test::PrivateRoot> root;
    std::optional<test::CapturedOutput> output;
    test::ScopedSys sys;
    Witness first{"first"};
    Witness second{"second"};
    std::optional<Filesystem> drive;
    std::optional<FirmwareUpdateManager> manager;
};

const std::string remount = "umount /drive\nmount /drive\n";
const std::string untar = "/bin/busybox|tar|-xf|/tmp/update/THERMAL.STR|-C|/tmp/update/\n";
const std::string refusal = remount + "FW UPDATE TRANSITION TO STATE: 1\nfirst: found\n" + untar +
                            "FW UPDATE TRANSITION TO STATE: 0\n";

std::string Transition(int state) {
    return "FW UPDATE TRANSITION TO STATE: " + std::to_string(state) + "\n";
}

TEST_F(FirmwareUpdateTest, InstallsInTheSlotThatDoesNotRun) {
    struct Row {
        std::string running, other, fit, rootfs;
    };
    for (const Row& row : {Row{"0", "1", "mtd2", "mtd3"}, Row{"1", "0", "mtd0", "mtd1"}}) {
        std::filesystem::remove("/drive/THERMAL.STR");
        std::filesystem::remove("/tmp/var/firstboot");
        Construct("image_select=" + row.running + "\n");
        EXPECT_EQ(output->Take(), "IMAGE_SELECT: " + row.running + "\n");
        EXPECT_EQ(Poll(2), remount + remount) << "nothing on the drive";
        Content({"fit", "rootfs", "bqfs", "README"});
        Pack();
        EXPECT_EQ(Poll(1), remount + Transition(1) + "first: found\n");
        EXPECT_EQ(Poll(1), untar + Transition(2) + "first: valid\n");
        EXPECT_EQ(Poll(1), Transition(3) + "first: begin\n");
        EXPECT_EQ(Poll(1), Transition(4));
        EXPECT_EQ(std::filesystem::exists("/tmp/var/firstboot"), false);
        EXPECT_EQ(Poll(1), "first: 25 %\n"
                           "/bin/busybox|flashcp|-v|/tmp/update/fit|/dev/" +
                               row.fit +
                               "\nfirst: 50 %\n"
                               "/bin/busybox|flashcp|-v|/tmp/update/rootfs|/dev/" +
                               row.rootfs +
                               "\nfirst: 75 %\n"
                               "/usr/bin/fw_setenv|image_select|" +
                               row.other + "\nfirst: 100 %\n" + Transition(5) +
                               "first: complete\n");
        EXPECT_EQ(Poll(2), "") << "it has had its update";
        EXPECT_EQ(test::ReadFile("/flash/" + row.fit), "new fit");
        EXPECT_EQ(test::ReadFile("/flash/" + row.rootfs), "new rootfs");
        EXPECT_EQ(test::ReadFile("/tmp/var/update/bqfs"), "new bqfs");
        EXPECT_EQ(test::ReadFile("/tmp/var/firstboot"), "1\n");
    }
}

TEST_F(FirmwareUpdateTest, StartsItselfWhenAHostComes) {
    sys->Nanosleep = [](const timespec* pause, timespec* rest) {
        EXPECT_EQ(pause->tv_sec * 1000 + pause->tv_nsec / 1'000'000, 250);
        const timespec shorter{0, 1'000'000};
        return ::nanosleep(&shorter, rest);
    };
    Construct();
    Pack();
    manager->OnConnectionStateChanged(ConnectionState::NoHost, ConnectionState::Undetermined);
    manager->OnConnectionStateChanged(ConnectionState::Host, ConnectionState::NoHost);
    EXPECT_TRUE(test::Eventually([&] { return first.complete.load(); }));
    manager->Stop();
}

TEST_F(FirmwareUpdateTest, IsDisabledWithoutARunningSlot) {
    Pack();
    const std::pair<const char*, const char*> rows[] = {
        {"quiet\n", ""}, {"image_select=2\n", "2"}, {"image_select=\n", ""}, {"", ""}};
    for (const auto& [commandLine, slot] : rows) {
        Construct(commandLine);
        EXPECT_EQ(output->Take(), std::string("IMAGE_SELECT: ") + slot + "\n");
        // Had it started, its destruction would end the process.
        manager->OnConnectionStateChanged(ConnectionState::Host, ConnectionState::NoHost);
    }
}

/** Keeps only the first tenths of the archive on the drive. */
void Truncate(unsigned tenths) {
    const std::string archive = "/drive/THERMAL.STR";
    std::filesystem::resize_file(archive, std::filesystem::file_size(archive) * tenths / 10);
}

TEST_F(FirmwareUpdateTest, LooksAgainAfterABadArchiveWithoutAnError) {
    struct Row {
        std::string what;
        std::function<void()> spoil;
    };
    std::vector<Row> rows = {
        {"no archive", [] { test::WriteFile("/drive/THERMAL.STR", std::string(5000, 'x')); }},
        {"nothing but a root file system", [&] { Content({"rootfs"}), Pack(); }},
        {"nothing but a boot image", [&] { Content({"fit"}), Pack(); }},
        {"a link for a member",
         [&] {
             Content({"rootfs"});
             std::filesystem::create_symlink("/bin/sh", "/content/fit");
             Pack();
         }},
        {"a directory for a member",
         [&] {
             Content({"fit", "rootfs/etc/passwd"}), Pack();
         }},
        {"a directory called as the archive",
         [&] {
             Content({"fit", "THERMAL.STR/file"}), Pack();
         }},
        {"a link called as the archive",
         [&] {
             Content({"fit"});
             std::filesystem::create_symlink("/running-firmware", "/content/THERMAL.STR");
             Pack();
         }},
        {"no tar", [&] { Behave("[ $1 != tar ] || exit 127"); }},
        {"a tar that reports no damage and unpacks nothing",
         [&] { Behave("[ $1 != tar ] || exit 0"); }},
        {"no room to unpack it",
         [&] {
             if (::mount("tmpfs", "/tmp/update", "tmpfs", 0, "size=64k") != 0) {
                 ADD_FAILURE() << "no small file system";
             }
         }},
    };
    for (unsigned tenths = 0; tenths < 8; ++tenths) { // the last blocks are padding
        rows.push_back({std::to_string(tenths) + " tenths of it", [=] { Truncate(tenths); }});
    }
    for (const Row& row : rows) {
        test::WriteFile("/running-firmware", "untouched");
        Construct();
        Content({"fit", "rootfs"});
        test::WriteFile("/content/rootfs", std::string(100'000, 'r'));
        Pack();
        // The unpacked members of a good archive must not complete the bad one.
        EXPECT_THAT(Poll(2), HasSubstr("first: valid"));
        manager->TransitionToState(FirmwareUpdateState::Idle);
        row.spoil();
        EXPECT_EQ(Poll(4), refusal + refusal) << row.what;
        ::umount("/tmp/update");
        Behave("");
        EXPECT_EQ(test::ReadFile("/running-firmware"), "untouched") << row.what;
        EXPECT_TRUE(std::filesystem::is_empty("/flash")) << row.what;

        // What the bad one left is not in the way of the next one.
        Content({"fit", "rootfs"});
        Pack();
        EXPECT_THAT(Poll(5), HasSubstr("first: complete")) << row.what;
        std::filesystem::remove_all("/flash");
        std::filesystem::create_directory("/flash");
    }
}

TEST_F(FirmwareUpdateTest, CompletesNoArchiveWithWhatLiesAround) {
    Construct();
    Content({"rootfs"});
    Pack();
    EXPECT_TRUE(manager->IsUpdateImagePresent());
    test::WriteFile("/tmp/update/fit", "old fit");
    try {
        manager->ExtractImage();
        ADD_FAILURE() << "old and new are mixed";
    } catch (int number) {
        EXPECT_EQ(number, ENOENT);
    }
}

TEST_F(FirmwareUpdateTest, FlashesWhatItHasCheckedWhateverTheHostDoesMeanwhile) {
    const std::pair<const char*, std::function<void()>> hosts[] = {
        {"writes another archive",
         [&] {
             Content({"fit", "rootfs", "bqfs"}), Pack();
         }},
        {"cuts it short", [] { Truncate(3); }},
        {"deletes it", [] { std::filesystem::remove("/drive/THERMAL.STR"); }},
        {"fills it with garbage", [] { test::WriteFile("/drive/THERMAL.STR", "garbage"); }},
    };
    for (const auto& [deed, act] : hosts) {
        for (int polls = 1; polls <= 4; ++polls) {
            std::filesystem::remove_all("/tmp/var/update");
            Construct();
            Content({"fit", "rootfs"});
            test::WriteFile("/content/rootfs", "checked rootfs");
            Pack();
            Poll(polls);
            act();
            EXPECT_THAT(Poll(5 - polls), HasSubstr("first: complete")) << deed << polls;
            EXPECT_EQ(test::ReadFile("/flash/mtd2"), "new fit") << deed << polls;
            EXPECT_EQ(test::ReadFile("/flash/mtd3"), "checked rootfs") << deed << polls;
            EXPECT_FALSE(std::filesystem::exists("/tmp/var/update/bqfs")) << deed << polls;
        }
    }
}

TEST_F(FirmwareUpdateTest, PassesOnNoGaugeStreamButARegularFileOfAWholeArchive) {
    test::WriteFile("/secret", "secret");
    Construct();
    std::filesystem::create_symlink("/secret", "/content/bqfs");
    Pack();
    EXPECT_THAT(Poll(2), HasSubstr("first: valid"));
    EXPECT_FALSE(std::filesystem::exists("/tmp/var/update/bqfs"));
    manager->TransitionToState(FirmwareUpdateState::Idle);
    Content({"bqfs", "fit"});
    Pack();
    EXPECT_EQ(Poll(2), refusal);
    EXPECT_FALSE(std::filesystem::exists("/tmp/var/update/bqfs"));
}

TEST_F(FirmwareUpdateTest, PassesOnAWholeGaugeStreamOrNone) {
    Construct();
    std::filesystem::create_directory("/tmp/var/update");
    test::Must(::mount("tmpfs", "/tmp/var/update", "tmpfs", 0, "size=64k"));
    Content({"fit", "rootfs"});
    test::WriteFile("/content/bqfs", std::string(100'000, 'X'));
    Pack();
    EXPECT_THAT(Poll(2), HasSubstr("first: valid"));
    EXPECT_TRUE(std::filesystem::is_empty("/tmp/var/update"));
}

TEST_F(FirmwareUpdateTest, ReportsEveryFailureOnceAndLeavesTheBootLoaderAlone) {
    struct Row {
        const char* what;
        std::function<void()> spoil;
        std::string steps; // of the last poll
    };
    const std::string fit = "first: 25 %\nsecond: 25 %\n"
                            "/bin/busybox|flashcp|-v|/tmp/update/fit|/dev/mtd2\n";
    const std::string half = "first: 50 %\nsecond: 50 %\n";
    const std::string rootfs = half + "/bin/busybox|flashcp|-v|/tmp/update/rootfs|/dev/mtd3\n";
    const std::string written = rootfs + "first: 75 %\nsecond: 75 %\n";
    const Row rows[] = {
        {"no boot image", [&] { Behave("case $3 in *fit) exit 1;; esac"); }, fit},
        {"no root file system", [&] { Behave("case $3 in *rootfs) exit 1;; esac"); }, fit + rootfs},
        {"killed", [&] { Behave("case $3 in *rootfs) kill -9 $$;; esac"); }, fit + rootfs},
        {"no flash tool", [] { std::filesystem::rename("/bin/busybox", "/away"); },
         "first: 25 %\nsecond: 25 %\n"},
        {"no partition", [] { test::WriteFile("/proc/mtd", "mtd2: 0 0 \"FIT_1\"\n"); }, fit + half},
        {"no variable", [&] { Behave("case $1 in image_select) exit 1;; esac"); },
         fit + written + "/usr/bin/fw_setenv|image_select|1\n"},
        {"no slot", [] { test::WriteFile("/proc/cmdline", "image_select=2\n"); }, fit + written},
    };
    const std::string table = test::ReadFile("/proc/mtd");
    for (const Row& row : rows) {
        Construct();
        manager->AddObserver(second);
        Pack();
        EXPECT_THAT(Poll(4), HasSubstr(Transition(4))) << row.what;
        row.spoil();
        EXPECT_EQ(Poll(3), row.steps + Transition(6) + "first: error 52\nsecond: error 52\n")
            << row.what;
        EXPECT_FALSE(std::filesystem::exists("/tmp/var/firstboot")) << row.what;
        Behave("");
        if (std::filesystem::exists("/away")) {
            std::filesystem::rename("/away", "/bin/busybox");
        }
        test::WriteFile("/proc/mtd", table);
    }
}

TEST_F(FirmwareUpdateTest, WaitsWhileTheDriveCannotBeMounted) {
    Construct();
    Pack();
    sys->Mount = [](const char*, const char*, const char*, unsigned long, const void*) {
        return test::FailWith(EINVAL);
    };
    EXPECT_EQ(Poll(3), "umount /drive\numount /drive\numount /drive\n");
}

TEST_F(FirmwareUpdateTest, EntersAStateOnlyFromTheOneBefore) {
    using enum FirmwareUpdateState;
    const std::string news[] = {"", "found", "valid", "begin", "", "complete", "error 52", ""};
    for (int from = 0; from <= 6; ++from) {
        for (int to = 0; to <= 7; ++to) {
            Construct();
            for (int step = from == 6 ? 6 : 1; step <= from; ++step) {
                manager->TransitionToState(static_cast<FirmwareUpdateState>(step));
            }
            output->Take();
            manager->TransitionToState(static_cast<FirmwareUpdateState>(to));
            const bool enters = to == from + 1 || to == 6;
            EXPECT_EQ(output->Take(),
                      Transition(to) +
                          (enters && !news[to].empty() ? "first: " + news[to] + "\n" : ""))
                << "from " << from << " to " << to;
        }
    }
}

} // namespace
} // namespace vantorel
