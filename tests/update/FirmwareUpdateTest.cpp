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
using testing::Not;

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
        sys->Rmdir = [](const char*) { return 0; }; // the files are no mount's, so they stay
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
tar) exec /bin/tar "$2" "$3" "$4" "$5" ;;
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

TEST_F(FirmwareUpdateTest, LooksAgainAfterABadArchiveWithoutAnError) {
    const auto shorten = [](double share) {
        std::filesystem::resize_file(
            "/drive/THERMAL.STR",
            static_cast<std::uintmax_t>(
                share * static_cast<double>(std::filesystem::file_size("/drive/THERMAL.STR"))));
    };
    struct Row {
        const char* what;
        std::function<void()> spoil;
    };
    const Row rows[] = {
        {"no archive", [] { test::WriteFile("/drive/THERMAL.STR", std::string(5000, 'x')); }},
        {"empty", [] { test::WriteFile("/drive/THERMAL.STR", ""); }},
        {"only the root file system", [&] { Content({"rootfs"}), Pack(); }},
        {"only the boot image", [&] { Content({"fit"}), Pack(); }},
        {"a link for a member",
         [&] {
             Content({"rootfs"});
             std::filesystem::create_symlink("/bin/sh", "/content/fit");
             Pack();
         }},
        {"a directory for a member",
         [&] {
             Content({"fit", "rootfs/etc/passwd"});
             Pack();
         }},
    };
    for (const Row& row : rows) {
        for (const bool afterAGoodOne : {false, true}) {
            Construct();
            Content({"fit", "rootfs"});
            Pack();
            if (afterAGoodOne) {
                EXPECT_THAT(Poll(2), HasSubstr("first: valid"));
                manager->TransitionToState(FirmwareUpdateState::Idle);
            }
            row.spoil();
            const std::string log = Poll(4);
            EXPECT_EQ(log.substr(0, log.find("tar: ")),
                      (refusal + refusal).substr(0, log.find("tar: ")))
                << row.what;
        }
        // The good one that follows is not held up by what the bad one left.
        Content({"fit", "rootfs"});
        Pack();
        EXPECT_THAT(Poll(5), HasSubstr("first: complete")) << row.what;
    }
    static_cast<void>(shorten);
}

} // namespace
} // namespace vantorel
