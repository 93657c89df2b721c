// File systems with a lifetime and the first-boot marker.

#include "tests/support/CapturedOutput.h"
#include "tests/support/ErrorOf.h"
#include "tests/support/PrivateRoot.h"
#include "tests/support/ScriptedSys.h"
#include "vantorel/system/Filesystem.h"
#include "vantorel/system/Firstboot.h"

#include <gmock/gmock.h>

#include <map>
#include <optional>

#include <fcntl.h>
#include <linux/loop.h>

namespace vantorel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class StorageTest : public testing::Test {
protected:
    void SetUp() override {
        VANTOREL_NEED_PRIVATE_MOUNTS();
        root.emplace();
        output.emplace(); // after the root: it keeps a file there
    }
    std::optional<test::PrivateRoot> root;
    std::optional<test::CapturedOutput> output;
};

/** Plays the loop driver and the mounts, and writes down what is asked of them. */
class FilesystemTest : public StorageTest {
protected:
    FilesystemTest() {
        sys->Open = [this](const char* path, int flags, unsigned) {
            EXPECT_EQ(flags, O_RDWR | O_CLOEXEC);
            const int fd = Step(std::string("open ") + path, nextDescriptor++);
            if (fd != -1) {
                open[fd] = path;
            }
            return fd;
        };
        sys->Close = [this](int fd) {
            Step("close " + open[fd], 0);
            open.erase(fd);
            return 0;
        };
        sys->Ioctl = [this](int fd, unsigned long request, void* argument) {
            if (request == LOOP_CTL_GET_FREE) {
                return Step(open[fd] + " get free", 12);
            }
            EXPECT_EQ(request, static_cast<unsigned long>(LOOP_SET_FD));
            const int image = static_cast<int>(reinterpret_cast<std::intptr_t>(argument));
            return Step(open[fd] + " set " + open[image], 0);
        };
        sys->Mount = [this](const char* source, const char* target, const char* type,
                            unsigned long flags, const void*) {
            return Step(std::string("mount ") + source + " " + target + " " + type + " " +
                            std::to_string(flags),
                        0);
        };
        sys->Umount = [this](const char* target) {
            return Step(std::string("umount ") + target, 0);
        };
    }

    /** Writes a step down; answers its result unless it is the one that is to fail. */
    int Step(const std::string& step, int result) {
        log.push_back(step);
        return step == failing ? test::FailWith(EBUSY) : result;
    }
    std::vector<std::string> TakeLog() { return std::exchange(log, {}); }

    test::ScopedSys sys;
    std::vector<std::string> log;
    std::map<int, std::string> open;
    int nextDescriptor = 100;
    std::string failing;
};

TEST_F(FilesystemTest, MountsAnImageForItsLifetime) {
    {
        Filesystem disk("/image", "/disk", "vfat", true, true);
        EXPECT_THAT(TakeLog(), ElementsAre("open /image", "open /dev/loop-control",
                                           "/dev/loop-control get free", "open /dev/loop12",
                                           "/dev/loop12 set /image", "close /dev/loop12",
                                           "close /dev/loop-control", "close /image",
                                           "mount /dev/loop12 /disk vfat 1"));
        EXPECT_THAT(root->Calls(), ElementsAre("/sbin/modprobe|nls-cp437", "/sbin/modprobe|vfat",
                                               "/sbin/modprobe|loop"));
        EXPECT_EQ(disk.Device(), "/dev/loop12");
        EXPECT_EQ(disk.MountPoint(), "/disk/");
        EXPECT_TRUE(std::filesystem::is_directory("/disk"));
        disk.Remount();
        EXPECT_THAT(TakeLog(), ElementsAre("umount /disk", "mount /dev/loop12 /disk vfat 1"));
        failing = "mount /dev/loop12 /disk vfat 1";
        EXPECT_EQ(test::ErrorOf([&] { disk.Remount(); }), EBUSY);
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
    { Filesystem data("/dev/x", "/data", "ext4", false, false); }
    EXPECT_THAT(TakeLog(), ElementsAre("umount /data"));
    EXPECT_EQ(root->Calls().size(), 1U);
}

TEST_F(FilesystemTest, FailsWithTheErrorOfTheStepAndKeepsNoDescriptor) {
    for (const char* step : {"open /image", "open /dev/loop-control", "/dev/loop-control get free",
                             "open /dev/loop12", "/dev/loop12 set /image"}) {
        failing = step;
        EXPECT_EQ(test::ErrorOf([] { Filesystem("/image", "/disk", "vfat", true, false); }), EBUSY)
            << step;
        EXPECT_THAT(open, IsEmpty()) << step;
    }
    EXPECT_FALSE(std::filesystem::exists("/disk")) << "its turn comes after the loop device";
}

TEST_F(FilesystemTest, EndsTheProcessWhenTheMountWouldOutliveIt) {
    failing = "umount /disk";
    EXPECT_EXIT(Filesystem("/image", "/disk", "vfat", true, false),
                testing::KilledBySignal(SIGABRT), "");
}

TEST_F(StorageTest, FirstbootCountsEveryNumberButZeroAsSet) {
    Firstboot firstboot;
    firstboot.Reset(); // without the directory nothing is kept, and nothing fails
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
    firstboot.Reset();
    EXPECT_EQ(test::ReadFile("/tmp/var/firstboot"), "1\n");
    firstboot.Clear();
    EXPECT_EQ(test::ReadFile("/tmp/var/firstboot"), "0\n");
}

} // namespace
} // namespace vantorel
