#include "tests/support/ErrorOf.h"
#include "tests/usb/StorageSteps.h"
#include "tests/usb/UsbTree.h"
#include "vantorel/system/Filesystem.h"
#include "vantorel/usb/USBGadgetMassStorage.h"

#include <gmock/gmock.h>

#include <optional>

namespace vantorel {
namespace {

using test::gadgetDirectory;
using testing::Contains;
using testing::ElementsAre;

class MassStorageTest : public test::UsbTest {
protected:
    void SetUp() override {
        UsbTest::SetUp();
        if (root) {
            storage.emplace(*root);
            test::WriteFile("/etc/kiro/LICENSE.TXT", "Free.");
            std::filesystem::create_directories(gadgetDirectory + "configs/g0.1");
            std::filesystem::create_directories(function + "/lun.0");
        }
    }

    const std::string function = gadgetDirectory + "functions/mass_storage.usb0";
    const std::string image = "/tmp/mass_storage/lun0";
    std::optional<test::StorageSteps> storage;
};

TEST_F(MassStorageTest, MakesAFreshDiskWithTheLicence) {
    const mode_t mask = ::umask(0);
    {
        USBGadgetMassStorage disk("disk", "udc.0", "KIRO", 3'000'000, false);
        EXPECT_THAT(
            storage->Take(),
            ElementsAre("mkdir /tmp/mass_storage", "open " + image, "close " + image,
                        "/bin/busybox|mkfs.vfat|-n|KIRO|" + image, //
                        "/sbin/modprobe|nls-cp437", "/sbin/modprobe|vfat", "/sbin/modprobe|loop",
                        "open " + image, "open /dev/loop-control",
                        "find a loop device with /dev/loop-control", "open /dev/loop3",
                        "attach " + image + " to /dev/loop3", "close /dev/loop3",
                        "close /dev/loop-control", "close " + image, "mkdir " + image + ".fs",
                        "mount /dev/loop3 " + image + ".fs vfat rw", "open /etc/kiro/LICENSE.TXT",
                        "open " + image + ".fs/LICENSE.TXT", "close " + image + ".fs/LICENSE.TXT",
                        "close /etc/kiro/LICENSE.TXT",
                        "umount " + image + ".fs with LICENSE.TXT: Free.", "rmdir " + image + ".fs",
                        "/sbin/modprobe|nls-cp437", "/sbin/modprobe|vfat", "/sbin/modprobe|loop",
                        "open " + image, "open /dev/loop-control",
                        "find a loop device with /dev/loop-control", "open /dev/loop4",
                        "attach " + image + " to /dev/loop4", "close /dev/loop4",
                        "close /dev/loop-control", "close " + image, "mkdir " + image + ".fs",
                        "mount /dev/loop4 " + image + ".fs vfat ro"));
        EXPECT_EQ(disk.Storage().MountPoint(), image + ".fs/");
        EXPECT_EQ(disk.Storage().Device(), "/dev/loop4");
        EXPECT_EQ(std::filesystem::status(image).permissions(), std::filesystem::perms{01130});
        EXPECT_EQ(std::filesystem::file_size(image), 3'000'000U);
    }
    EXPECT_THAT(storage->Take(), ElementsAre("umount " + image + ".fs", "rmdir " + image + ".fs"));
    ::umask(mask);

    const USBGadgetMassStorage smaller("disk", "udc.0", "KIRO", 1'000'000, false);
    EXPECT_EQ(std::filesystem::file_size(image), 1'000'000U) << "the image of the last run";
    EXPECT_THAT(storage->Take(), Contains("/bin/busybox|mkfs.vfat|-n|KIRO|" + image));
}

TEST_F(MassStorageTest, LetsOneSideWrite) {
    for (const bool hostReadOnly : {true, false}) {
        USBGadgetMassStorage disk("disk", "udc.0", "KIRO", 1'000'000, hostReadOnly);
        EXPECT_TRUE(storage->Take().back().ends_with(hostReadOnly ? " rw" : " ro"));
        std::filesystem::create_directories(function + "/lun.0"); // as the kernel does
        disk.OnAdd();
        const std::map<std::string, std::string> expected = {{"lun.0/ro", hostReadOnly ? "1" : "0"},
                                                             {"lun.0/file", image},
                                                             {"lun.0/inquiry_string", "KIRO"}};
        EXPECT_EQ(test::FilesBelow(function), expected);
        const std::string link = gadgetDirectory + "configs/g0.1/mass_storage.usb0";
        EXPECT_EQ(std::filesystem::read_symlink(link), function);
        std::filesystem::remove_all(function + "/lun.0");
        disk.OnRemove();
        EXPECT_FALSE(std::filesystem::exists(function));
        EXPECT_FALSE(std::filesystem::is_symlink(link));
    }
}

TEST_F(MassStorageTest, ReportsThatThereIsNoRoomForTheImage) {
    const auto make = [] { USBGadgetMassStorage("disk", "udc.0", "KIRO", 1'000'000, false); };
    storage->sys->Ftruncate = [](int, off_t) { return test::FailWith(ENOSPC); };
    EXPECT_EQ(test::ErrorOf(make), ENOSPC);
    EXPECT_EQ(storage->Take().back(), "open " + image);
    storage->Fail("open");
    EXPECT_EQ(test::ErrorOf(make), EPERM);
    EXPECT_THAT(root->Calls(), testing::IsEmpty());
}

} // namespace
} // namespace vantorel
