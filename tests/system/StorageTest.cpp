// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// Scoped file systems and the first-boot marker.

#include "tests/support/CapturedOutput.h"
#include "tests/support/ErrorOf.h"
#include "tests/support/PrivateRoot.h"
#include "tests/support/kernel/Loop.h"
#include "vantorel/system/Filesystem.h"
#include "vantorel/system/Firstboot.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <optional>
#include <sstream>

#include <fcntl.h>

namespace vantorel {
namespace {

using testing::ElementsAre;

class StorageTest : public testing::Test {
protected:
    void SetUp() override {
        VANTOREL_NEED_PRIVATE_MOUNTS();
        root.emplace();
        output.emplace(); // needs the /tmp of the root
    }
    std::optional<test::PrivateRoot> root;
    std::optional<test::CapturedOutput> output;
};

/** Fakes the loop driver and the mounts, and records the calls. */
class FilesystemTest : public StorageTest {
protected:
    FilesystemTest() {
        sys->Open = [this](const char* path, int flags, unsigned) {
            if (std::string_view(path) == "/etc/mtab") {
                return ::open(path, flags);
            }
            const bool writes = (flags & O_ACCMODE) == O_RDWR;
            return Note(writes ? "open" : "open for reading", path) + ++opened;
        };
        sys->Close = [](int fd) { return fd > 1000 ? 0 : ::close(fd); };
        loop.onBind = [this](int file) { Note("bind", file); };
        sys->Mount = [this](const char* source, const char* target, const char* type,
                            unsigned long flags, const void*) {
            EXPECT_TRUE(std::filesystem::is_directory(target));
            return Note("mount", source, target, type, flags);
        };
        sys->Umount = [this](const char* target) { return Note("umount", target); };
    }

    int Note(const auto&... words) {
        ((log << words << ' '), ...);
        log << "\n";
        return 0;
    }
    std::string Take() { return std::exchange(log, {}).str(); }

    test::ScopedSys sys;
    test::IoctlRecorder ioctls{sys};
    test::FakeLoop loop{ioctls, 12};
    std::ostringstream log;
    int opened = 1000;
};

TEST_F(FilesystemTest, MountsAnImageForItsLifetime) {
    {
        Filesystem disk("/image", "/disk", "vfat", true, true);
        EXPECT_EQ(Take(), "open /image \nopen /dev/loop-control \nopen /dev/loop12 \n"
                          "bind 1001 \nmount /dev/loop12 /disk vfat 1 \n");
        EXPECT_THAT(root->Calls(), ElementsAre("/sbin/modprobe|nls-cp437", "/sbin/modprobe|vfat",
                                               "/sbin/modprobe|loop"));
        EXPECT_EQ(disk.Device(), "/dev/loop12");
        EXPECT_EQ(disk.MountPoint(), "/disk/");
        EXPECT_EQ(disk.Type(), "vfat");
        EXPECT_TRUE(std::filesystem::is_directory("/disk"));
        disk.Remount();
        EXPECT_EQ(Take(), "umount /disk \nmount /dev/loop12 /disk vfat 1 \n");
    }
    EXPECT_EQ(Take(), "umount /disk \n");
    EXPECT_FALSE(std::filesystem::exists("/disk"));
    EXPECT_THAT(ioctls.requests, ElementsAre(LOOP_CTL_GET_FREE, LOOP_SET_FD)) << "stays bound";
}

TEST_F(FilesystemTest, UndoesNothingWhenItsImageCannotBeMounted) {
    sys->Mount = [](auto...) { return test::FailWith(EINVAL); };
    EXPECT_EQ(test::ErrorOf([] { Filesystem("/image", "/disk", "vfat", true, false); }), EINVAL);
    EXPECT_EQ(Take(), "open /image \nopen /dev/loop-control \nopen /dev/loop12 \nbind 1001 \n");
    EXPECT_TRUE(std::filesystem::is_directory("/disk"));
    EXPECT_THAT(ioctls.requests, ElementsAre(LOOP_CTL_GET_FREE, LOOP_SET_FD));
    EXPECT_EQ(root->Calls().size(), 3U) << "its modules stay loaded";
}

TEST_F(FilesystemTest, MountsOtherTypesWithoutALoopDeviceOrModules) {
    {
        Filesystem flash("/dev/mtdblock3", "/flash/", "jffs2", false, false);
        EXPECT_EQ(flash.MountPoint(), "/flash//");
    }
    EXPECT_EQ(Take(), "mount /dev/mtdblock3 /flash/ jffs2 0 \numount /flash/ \n");
    EXPECT_THAT(root->Calls(), ElementsAre("/sbin/modprobe|jffs2"));

    test::WriteFile("/etc/mtab", "other /data ext4 rw 0 0\n");
    std::filesystem::create_directory("/data"); // remains of an earlier mount
    { Filesystem data("/dev/x", "/data", "ext4", false, false); }
    EXPECT_EQ(Take(), "umount /data \n");
    EXPECT_EQ(root->Calls().size(), 1U);
}

TEST_F(StorageTest, FirstbootIsSetForEveryNumberExceptZero) {
    Firstboot firstboot;
    firstboot.Reset(); // without the directory it stores nothing and reports no error
    std::filesystem::create_directories("/tmp/var/firstboot"); // can be opened but not read
    EXPECT_FALSE(firstboot.Value());
    std::filesystem::remove("/tmp/var/firstboot");
    EXPECT_FALSE(firstboot.Value());
    output->Take();
    const std::pair<const char*, bool> rows[] = {{"2\n", true},  {"-1", true},
                                                 {"1x", true},   {"0\n", false},
                                                 {"yes", false}, {"99999999999", false}};
    for (const auto& [content, set] : rows) {
        test::WriteFile("/tmp/var/firstboot", content);
        EXPECT_EQ(firstboot.Value(), set) << content;
        EXPECT_EQ(output->Take(), std::string("FIRSTBOOT STR: ") + content +
                                      "\nFIRSTBOOT: " + (set ? "1" : "0") + "\n");
    }
    firstboot.Clear(); // tests/update covers Reset()
    EXPECT_EQ(test::ReadFile("/tmp/var/firstboot"), "0\n");
}

} // namespace
} // namespace vantorel
