// File systems with a lifetime and the first-boot marker.

#include "tests/support/CapturedOutput.h"
#include "tests/support/PrivateRoot.h"
#include "tests/support/ScriptedSys.h"
#include "vantorel/service/Error.h"
#include "vantorel/system/Filesystem.h"
#include "vantorel/system/Firstboot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <map>
#include <optional>

#include <fcntl.h>
#include <linux/loop.h>

namespace vantorel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/** Plays the loop driver and the mounts, and writes down what is asked of them. */
class FilesystemTest : public testing::Test {
protected:
    void SetUp() override {
        VANTOREL_NEED_PRIVATE_MOUNTS();
        root.emplace();
        sys->Open = [this](const char* path, int flags, unsigned) {
            EXPECT_EQ(flags, O_RDWR | O_CLOEXEC);
            log.push_back(std::string("open ") + path);
            if (Fails()) {
                return -1;
            }
            const int fd = static_cast<int>(100 + open.size() + closed);
            open[fd] = path;
            return fd;
        };
        sys->Close = [this](int fd) {
            log.push_back("close " + open[fd]);
            closed += open.erase(fd);
            return 0;
        };
        sys->Ioctl = [this](int fd, unsigned long request, void* argument) {
            const int number = static_cast<int>(reinterpret_cast<std::intptr_t>(argument));
            log.push_back(open[fd] + (request == LOOP_CTL_GET_FREE ? " get free"
                                      : request == LOOP_SET_FD     ? " set " + open[number]
                                                                   : " unknown"));
            return Fails() ? -1 : request == LOOP_CTL_GET_FREE ? 12 : 0;
        };
        sys->Mount = [this](const char* source, const char* target, const char* type,
                            unsigned long flags, const void*) {
            log.push_back(std::string("mount ") + source + " " + target + " " + type + " " +
                          std::to_string(flags));
            return Fails() ? -1 : 0;
        };
        sys->Umount = [this](const char* target) {
            log.push_back(std::string("umount ") + target);
            return Fails() ? -1 : 0;
        };
    }

    /** Whether the step just written down is the one that is to fail. */
    bool Fails() const {
        errno = EBUSY;
        return log.back() == failing;
    }
    std::vector<std::string> TakeLog() { return std::exchange(log, {}); }

    std::optional<test::PrivateRoot> root;
    test::ScopedSys sys;
    std::vector<std::string> log;
    std::map<int, std::string> open;
    std::size_t closed = 0;
    std::string failing;
};

const std::vector<std::string> loopSteps = {
    "open /image",      "open /dev/loop-control", "/dev/loop-control get free",
    "open /dev/loop12", "/dev/loop12 set /image",
};

TEST_F(FilesystemTest, MountsAnImageForItsLifetime) {
    {
        Filesystem disk("/image", "/disk", "vfat", true, true);
        auto expected = loopSteps;
        for (const char* step : {"close /dev/loop12", "close /dev/loop-control", "close /image",
                                 "mount /dev/loop12 /disk vfat 1"}) {
            expected.emplace_back(step);
        }
        EXPECT_EQ(TakeLog(), expected);
        EXPECT_THAT(root->Calls(), ElementsAre("/sbin/modprobe|nls-cp437", "/sbin/modprobe|vfat",
                                               "/sbin/modprobe|loop"));
        EXPECT_EQ(disk.Device(), "/dev/loop12");
        EXPECT_EQ(disk.MountPoint(), "/disk/");
        EXPECT_TRUE(std::filesystem::is_directory("/disk"));
        disk.Remount();
        EXPECT_THAT(TakeLog(), ElementsAre("umount /disk", "mount /dev/loop12 /disk vfat 1"));
        failing = "mount /dev/loop12 /disk vfat 1";
        EXPECT_THROW(disk.Remount(), Error);
        TakeLog();
    }
    EXPECT_THAT(TakeLog(), ElementsAre("umount /disk"));
    EXPECT_FALSE(std::filesystem::exists("/disk"));
}

TEST_F(FilesystemTest, NeedsNoLoopDeviceAndNoModulesForOthers) {
    { Filesystem flash("/dev/mtdblock3", "/flash/", "jffs2", false, false); }
    EXPECT_THAT(TakeLog(), ElementsAre("mount /dev/mtdblock3 /flash/ jffs2 0", "umount /flash/"));
    EXPECT_THAT(root->Calls(), ElementsAre("/sbin/modprobe|jffs2"));

    test::WriteFile("/etc/mtab", "other /data ext4 rw 0 0\n");
    std::filesystem::create_directory("/data"); // from the mount that is there already
    {
        Filesystem data("/dev/x", "/data", "ext4", false, false);
        EXPECT_THAT(TakeLog(), IsEmpty());
    }
    EXPECT_THAT(TakeLog(), ElementsAre("umount /data"));
    EXPECT_EQ(root->Calls().size(), 1U);
}

TEST_F(FilesystemTest, FailsWithTheErrorOfTheStepAndKeepsNoDescriptor) {
    for (const std::string& step : loopSteps) {
        failing = step;
        try {
            Filesystem disk("/image", "/disk", "vfat", true, false);
            ADD_FAILURE() << "mounted in spite of " << step;
        } catch (const Error& error) {
            EXPECT_EQ(error.Value(), EBUSY) << step;
        }
        EXPECT_THAT(open, IsEmpty()) << step;
    }
    EXPECT_FALSE(std::filesystem::exists("/disk")) << "its turn comes after the loop device";
}

TEST_F(FilesystemTest, EndsTheProcessWhenTheMountWouldOutliveIt) {
    EXPECT_EXIT(
        {
            failing = "umount /disk";
            { Filesystem disk("/image", "/disk", "vfat", true, false); }
            ::_exit(0);
        },
        testing::KilledBySignal(SIGABRT), "");
}

class FirstbootTest : public testing::Test {
protected:
    void SetUp() override {
        VANTOREL_NEED_PRIVATE_MOUNTS();
        root.emplace();
        output.emplace(); // after the root: it keeps a file there
    }
    std::optional<test::PrivateRoot> root;
    std::optional<test::CapturedOutput> output;
    Firstboot firstboot;
};

TEST_F(FirstbootTest, CountsEveryNumberButZeroAsSet) {
    EXPECT_FALSE(firstboot.Value());
    EXPECT_EQ(output->Take(), "FIRSTBOOT STR: \nFIRSTBOOT: 0\n");
    const std::pair<const char*, bool> rows[] = {
        {"2\n", true},  {" -1", true}, {"1x", true},          {"0\n", false},
        {"yes", false}, {"", false},   {"99999999999", false}};
    for (const auto& [content, set] : rows) {
        test::WriteFile("/tmp/var/firstboot", content);
        EXPECT_EQ(firstboot.Value(), set) << content;
        EXPECT_EQ(output->Take(), std::string("FIRSTBOOT STR: ") + content +
                                      "\nFIRSTBOOT: " + (set ? "1" : "0") + "\n");
    }
}

TEST_F(FirstbootTest, IsSetAndCleared) {
    firstboot.Reset(); // without the directory nothing is kept, and nothing fails
    EXPECT_FALSE(firstboot.Value());
    test::WriteFile("/tmp/var/firstboot", "left over from longer ago");
    firstboot.Reset();
    EXPECT_EQ(test::ReadFile("/tmp/var/firstboot"), "1\n");
    firstboot.Clear();
    EXPECT_EQ(test::ReadFile("/tmp/var/firstboot"), "0\n");
}

} // namespace
} // namespace vantorel
