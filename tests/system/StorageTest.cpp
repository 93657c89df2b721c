// File systems with a lifetime and the first-boot marker.

#include "tests/support/CapturedOutput.h"
#include "tests/support/PrivateRoot.h"
#include "tests/support/ScriptedSys.h"
#include "vantorel/system/Filesystem.h"
#include "vantorel/system/Firstboot.h"

#include <gmock/gmock.h>

#include <optional>
#include <sstream>

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
        sys->Open = [this](const char* path, auto...) {
            log.push_back(std::string("open ") + path);
            return 100 + static_cast<int>(log.size());
        };
        sys->Close = [](int) { return 0; };
        sys->Ioctl = [this](int, unsigned long request, void* argument) {
            if (request == LOOP_CTL_GET_FREE) {
                return 12;
            }
            log.push_back("bind " + std::to_string(reinterpret_cast<std::intptr_t>(argument)));
            return 0;
        };
        sys->Mount = [this](const char* source, const char* target, const char* type,
                            unsigned long flags, const void*) {
            std::ostringstream text;
            text << "mount " << source << ' ' << target << ' ' << type << ' ' << flags;
            log.push_back(text.str());
            return 0;
        };
        sys->Umount = [this](const char* target) {
            log.push_back(std::string("umount ") + target);
            return 0;
        };
    }
    std::vector<std::string> TakeLog() { return std::exchange(log, {}); }

    test::ScopedSys sys;
    std::vector<std::string> log;
};

TEST_F(FilesystemTest, MountsAnImageForItsLifetime) {
    {
        Filesystem disk("/image", "/disk", "vfat", true, true);
        EXPECT_THAT(TakeLog(),
                    ElementsAre("open /image", "open /dev/loop-control", "open /dev/loop12",
                                "bind 101", "mount /dev/loop12 /disk vfat 1"));
        EXPECT_THAT(root->Calls(), ElementsAre("/sbin/modprobe|nls-cp437", "/sbin/modprobe|vfat",
                                               "/sbin/modprobe|loop"));
        EXPECT_EQ(disk.Device(), "/dev/loop12");
        EXPECT_EQ(disk.MountPoint(), "/disk/");
        EXPECT_TRUE(std::filesystem::is_directory("/disk"));
        disk.Remount();
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
    std::filesystem::create_directories("/tmp/var/firstboot"); // opens, and cannot be read
    EXPECT_FALSE(firstboot.Value());
    std::filesystem::remove("/tmp/var/firstboot");
    output->Take();
    const std::pair<const char*, bool> rows[] = {
        {"2\n", true}, {"1x", true}, {"0\n", false}, {"yes", false}, {"99999999999", false}};
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
