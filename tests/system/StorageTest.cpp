// File systems with a lifetime and the first-boot marker.

#include "tests/support/CapturedOutput.h"
#include "tests/support/ErrorOf.h"
#include "tests/support/PrivateRoot.h"
#include "tests/support/ScriptedSys.h"
#include "vantorel/system/Filesystem.h"
#include "vantorel/system/Firstboot.h"

#include <gmock/gmock.h>

#include <optional>
#include <sstream>

#include <fcntl.h>
#include <linux/loop.h>

namespace vantorel {
namespace {

using testing::ElementsAre;

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
            log.push_back("open " + names.emplace_back(path));
            return static_cast<int>(names.size()) - 1;
        };
        sys->Close = [this](int fd) {
            log.push_back("close " + names.at(static_cast<std::size_t>(fd)));
            return 0;
        };
        sys->Ioctl = [this](int fd, unsigned long request, void* argument) {
            const std::string device = names.at(static_cast<std::size_t>(fd));
            if (request == LOOP_CTL_GET_FREE) {
                log.push_back(device + " get free");
                return 12;
            }
            EXPECT_EQ(request, static_cast<unsigned long>(LOOP_SET_FD));
            log.push_back(device + " set " + names.at(reinterpret_cast<std::size_t>(argument)));
            return 0;
        };
        sys->Mount = [this](const char* source, const char* target, const char* type,
                            unsigned long flags, const void*) {
            std::ostringstream text;
            text << "mount " << source << ' ' << target << ' ' << type << ' ' << flags;
            log.push_back(text.str());
            return mountResult == 0 ? 0 : test::FailWith(mountResult);
        };
        sys->Umount = [this](const char* target) {
            log.push_back(std::string("umount ") + target);
            return 0;
        };
    }
    std::vector<std::string> TakeLog() { return std::exchange(log, {}); }

    test::ScopedSys sys;
    std::vector<std::string> log;
    std::vector<std::string> names; // of what has been opened
    int mountResult = 0;
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
        mountResult = EBUSY;
        EXPECT_EQ(test::ErrorOf([&] { disk.Remount(); }), EBUSY);
        EXPECT_THAT(TakeLog(), ElementsAre("umount /disk", "mount /dev/loop12 /disk vfat 1"));
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
