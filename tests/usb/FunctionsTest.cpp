// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// The USB functions except the vendor function: drive, serial port and network.

#include "tests/support/ErrorOf.h"
#include "tests/support/kernel/Loop.h"
#include "tests/usb/UsbTree.h"
#include "vantorel/service/UniqueFd.h"
#include "vantorel/system/Filesystem.h"
#include "vantorel/system/Tools.h"
#include "vantorel/usb/USBGadgetMassStorage.h"
#include "vantorel/usb/USBGadgetRndis.h"
#include "vantorel/usb/USBGadgetSerial.h"
#include "vantorel/usb/private/FreeLine.h"

#include <gmock/gmock.h>

#include <dirent.h>
#include <sys/prctl.h>

namespace vantorel::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

auto Threads() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

class FunctionsTest : public UsbTest {
protected:
    void SetUp() override {
        UsbTest::SetUp();
        if (root) {
            MakeFifo("/never");
            root->Behave(links + "if [ $1 = getty ]; then read line </never; fi");
        }
    }

    /** Binds functions and waits until their detached workers have ended. */
    void Bind(std::initializer_list<USBGadget*> gadgets) {
        const auto before = Threads();
        for (USBGadget* gadget : gadgets) {
            gadget->OnBind();
        }
        ASSERT_TRUE(Eventually([&] { return Threads() == before; }));
    }

    /** Waits for this many calls and returns them all. */
    std::vector<std::string> Calls(std::size_t count) {
        Eventually([&] {
            const auto calls = root->Calls();
            return calls.size() >= count && std::ranges::count(calls, "") == 0;
        });
        return root->Calls();
    }

    ScopedSys sys;
};

TEST_F(FunctionsTest, ComposeThemselves) {
    USBGadgetSerial serial("serial", "udc.0", false, false);
    CheckComposition(serial, "acm", {});
    EXPECT_DEATH(serial.OnRemove(), "");
    USBGadgetRndis network("network", "udc.0");
    CheckComposition(network, "rndis",
                     {{"os_desc/interface.rndis/compatible_id", "RNDIS"},
                      {"os_desc/interface.rndis/sub_compatible_id", "5162001"}});
}

// When the kernel refuses an attribute, the next one goes through the same stream.
TEST_F(FunctionsTest, DescribeTheNetworkAroundAnAttributeThatFails) {
    USBGadgetRndis network("network", "udc.0");
    const std::string function = gadgetDirectory + "functions/rndis.usb0/os_desc/interface.rndis/";
    std::filesystem::create_directories(function + "compatible_id");
    network.OnAdd();
    EXPECT_EQ(ReadFile(function + "sub_compatible_id"), "5162001");
}

TEST_F(FunctionsTest, NumberTheLinesOfAllSerialPorts) {
    USBGadgetSerial debugged("debugged", "udc.0", true, true);
    USBGadgetSerial shell("shell", "udc.0", false, true);
    USBGadgetSerial plain("plain", "udc.0", false, false);
    const std::string gdbserver = "/usr/bin/gdbserver|--multi|/dev/ttyGS";
    const auto getty = [](const std::string& number) {
        return "/bin/busybox|getty|-n|-l|/bin/sh|/dev/ttyGS" + number + "|115200";
    };
    std::atomic<time_t> paused = 0;
    sys->Nanosleep = [&](const timespec* pause, timespec*) { return paused += pause->tv_sec, 0; };
    Bind({&debugged, &shell});
    EXPECT_EQ(paused, 2 + 2);
    EXPECT_THAT(Calls(2), testing::AnyOf(UnorderedElementsAre(gdbserver + "0", getty("1")),
                                         UnorderedElementsAre(gdbserver + "1", getty("0"))));
    Bind({&plain}); // uses number 2
    EXPECT_EQ(paused, 2 + 2) << "a worker without a server does not pause";
    Bind({&shell});
    EXPECT_EQ(Calls(3).back(), getty("3"));
    plain.OnUnbind();
    Bind({&shell});
    EXPECT_EQ(Calls(4).back(), getty("3"));
    for (int lines = 0; lines < 4; ++lines) {
        shell.OnUnbind(); // the process numbers its lines, and other tests expect 0
    }
}

TEST_F(FunctionsTest, FreeTheLineBeforeTheyRemoveIt) {
    CoverWithTmpfs("/dev");
    const std::string line = "/dev/ttyGS0";
    WriteFile("/dev/null", ""); // the shell's background job opens it
    root->Behave(links + "exec 9</dev/ttyGS0; cat </never & read line </never");
    sys->Nanosleep = [](const timespec* pause, timespec* left) {
        return pause->tv_sec > 0 ? 0 : ::nanosleep(pause, left); // killed processes end with delay
    };
    const auto users = [&] {
        const std::filesystem::directory_iterator processes("/proc");
        return std::ranges::count_if(processes, [&](const auto& process) {
            return Tools::GetFd(std::atoi(process.path().filename().c_str()), line) != -1;
        });
    };
    USBGadgetSerial serial("serial", "udc.0", false, true);
    for (const std::size_t calls : {2U, 4U}) { // ln and getty per round
        WriteFile(line, "");
        serial.OnAdd();
        Bind({&serial});
        EXPECT_TRUE(Eventually([&] { return users() == 2; }));
        serial.OnUnbind();
        EXPECT_EQ(users(), 2);
        serial.OnRemove();
        EXPECT_EQ(users(), 0);
        Bind({&serial}); // the worker starts after the removal
        serial.OnUnbind();
        EXPECT_EQ(root->Calls().size(), calls);
    }
    ::umount2("/dev", MNT_DETACH);
}

/** Starts an unrelated process that has a line open. */
pid_t OpenByAnotherProcess(const std::string& line) {
    const int fd = ::open(line.c_str(), O_RDONLY | O_CLOEXEC);
    const pid_t user = ::fork();
    if (user == 0) {
        ::pause();
    }
    ::close(fd);
    return user;
}

// The kernel would wait for these processes, with or without a server on the line.
TEST_F(FunctionsTest, EndOtherProgramsOnTheLineWithAndWithoutAServer) {
    CoverWithTmpfs("/dev");
    const std::string function = gadgetDirectory + "functions/acm.usb0";
    std::atomic<bool> removed = false;
    sys->Nanosleep = [&](const timespec* pause, timespec* left) {
        while (pause->tv_sec > 0 && !removed) { // delays the server's start
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return pause->tv_sec > 0 ? 0 : ::nanosleep(pause, left);
    };
    sys->Rmdir = [&](const std::string& directory) {
        EXPECT_FALSE(std::filesystem::exists("/dev/ttyGS5")) << "a respawned user could reopen it";
        return std::filesystem::remove_all(directory) > 0 ? 0 : FailWith(ENOENT);
    };
    // A search that fails has found nobody, which does not mean that there is nobody.
    std::atomic<int> failures = 0;
    sys->Getdents = [&](auto... arguments) {
        return failures-- > 0 ? ssize_t{FailWith(ENOMEM)} : ::getdents64(arguments...);
    };
    const auto threads = Threads();
    for (const bool withGetty : {false, true}) {
        USBGadgetSerial serial("serial", "udc.0", false, withGetty);
        failures = 3;
        removed = false;
        serial.OnAdd();
        WriteFile(function + "/port_num", "5\n"); // the kernel's number, not the library's count
        WriteFile("/dev/ttyGS5", "");
        WriteFile("/dev/ttyGS0", "");
        const pid_t user = OpenByAnotherProcess("/dev/ttyGS5");
        const pid_t other = OpenByAnotherProcess("/dev/ttyGS0");
        serial.OnBind();
        serial.OnUnbind();
        serial.OnRemove();
        removed = true;
        EXPECT_EQ(::waitpid(user, nullptr, WNOHANG), user) << withGetty;
        EXPECT_EQ(::waitpid(other, nullptr, WNOHANG), 0) << "a process on another line was killed";
        ::kill(other, SIGKILL);
        ::waitpid(other, nullptr, 0);
        ASSERT_TRUE(Eventually([&] { return Threads() == threads; }));
    }
    ::umount2("/dev", MNT_DETACH);
}

/** Starts a process that uses a line as its controlling terminal, and expects it to be ended. */
void EndTheUserOfALine(pid_t& user) {
    const UniqueFd master(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    ASSERT_EQ(::grantpt(master.Get()) + ::unlockpt(master.Get()), 0);
    const std::string line = ::ptsname(master.Get());
    user = ::fork();
    if (user == 0) {
        ::prctl(PR_SET_NAME, "a) b"); // as in "/proc/PID/stat", where the terminal stands after it
        ::setsid();
        const int opened = ::open(line.c_str(), O_RDWR);
        const int terminal = ::open("/dev/tty", O_RDWR);
        ::close(opened);
        if (::write(terminal, "x", 1) == 1) {
            ::pause();
        }
        ::_exit(1);
    }
    char ready = 0;
    ASSERT_EQ(::read(master.Get(), &ready, 1), 1);
    EndUsersOf(line);
    int status = 0;
    EXPECT_EQ(::waitpid(user, &status, WNOHANG), user);
    EXPECT_TRUE(WIFSIGNALED(status));
    ::kill(user, SIGKILL);
}

// A job of a shell may use the line only as its controlling terminal. A process with more
// capabilities than this one hides its files; then the terminal decides.
TEST_F(FunctionsTest, FindTheUsersOfALineUnderAnyName) {
    pid_t user = 0;
    bool isHidden = false;
    sys->Open = [&](const char* path, int flags, unsigned mode) {
        const bool isOfUser = path == "/proc/" + std::to_string(user) + "/fd";
        return isHidden && isOfUser ? FailWith(EACCES) : ::open(path, flags, mode);
    };
    for (const bool hides : {false, true}) {
        SCOPED_TRACE(hides);
        isHidden = hides;
        EndTheUserOfALine(user);
    }
}

TEST_F(FunctionsTest, BringTheNetworkUpAndDown) {
    std::vector<std::size_t> pauses; // number of calls before each pause
    sys->Nanosleep = [&](const timespec* pause, timespec*) {
        EXPECT_EQ(pause->tv_sec, 1);
        pauses.push_back(root->Calls().size());
        return 0;
    };
    USBGadgetRndis network("network", "udc.0");
    Bind({&network});
    Calls(4);
    network.OnUnbind();
    EXPECT_THAT(pauses, ElementsAre(1, 2, 3));
    EXPECT_THAT(Calls(7), ElementsAre("/bin/busybox|hostname|-F|/etc/hostname",
                                      "/bin/busybox|sh|/etc/init.d/dropbear|start",
                                      "/bin/busybox|sh|/etc/init.d/busybox-udhcpd|start",
                                      "/bin/busybox|ifup|usb0", "/bin/busybox|ifdown|usb0",
                                      "/bin/busybox|sh|/etc/init.d/busybox-udhcpd|stop",
                                      "/bin/busybox|sh|/etc/init.d/dropbear|stop"));
    sys->Fork = [] { return FailWith(EAGAIN); };
    Bind({&network}); // fork fails: the port must work without its network
}

// Kept: nothing stops a worker that pauses when its function is unbound.
TEST_F(FunctionsTest, FinishTheirStartAfterAnUnbinding) {
    std::atomic<bool> unbound = false;
    sys->Nanosleep = [&](auto...) {
        while (!unbound) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return 0;
    };
    const auto threads = Threads();
    const auto rebind = [&](USBGadget& gadget) {
        unbound = false;
        gadget.OnBind();
        gadget.OnUnbind();
        unbound = true;
        ASSERT_TRUE(Eventually([&] { return Threads() == threads; }));
    };
    USBGadgetSerial serial("serial", "udc.0", false, true);
    rebind(serial);
    EXPECT_THAT(Calls(1), ElementsAre("/bin/busybox|getty|-n|-l|/bin/sh|/dev/ttyGS-1|115200"));
    USBGadgetRndis network("network", "udc.0");
    rebind(network);
    EXPECT_EQ(Calls(8).back(), "/bin/busybox|ifup|usb0");
}

TEST_F(FunctionsTest, CreateANewDiskThatOnlyOneSideWrites) {
    const std::string image = "/tmp/mass_storage/lun0";
    std::vector<std::string> mounts;
    // The image is real; loop devices and mounts are fakes that record their calls.
    WriteFile("/etc/kiro/LICENSE.TXT", "Free.");
    sys->Open = [](const char* path, auto... arguments) {
        return ::open(std::string_view(path).starts_with("/dev/") ? "/dev/null" : path,
                      arguments...);
    };
    IoctlRecorder ioctls(sys);
    const FakeLoop loop(ioctls, 3);
    sys->Mount = [&](std::string source, auto, std::string type, unsigned long flags, auto) {
        EXPECT_THAT(root->Calls(), Contains("/bin/busybox|mkfs.vfat|-n|KIRO|" + image));
        mounts.push_back(source + " " + type + " " + std::to_string(flags));
        return 0;
    };
    sys->Umount = [&](const std::string& target) {
        mounts.push_back("umount with " + ReadFile(target + "/LICENSE.TXT"));
        std::filesystem::remove(target + "/LICENSE.TXT");
        return 0;
    };
    const mode_t mask = ::umask(0);
    for (const auto& [size, hostReadOnly] : {std::pair(3'000'000U, false), {1'000'000U, true}}) {
        mounts.clear();
        {
            USBGadgetMassStorage disk("disk", "udc.0", "KIRO", size, hostReadOnly);
            EXPECT_THAT(mounts,
                        ElementsAre("/dev/loop3 vfat 0", "umount with Free.",
                                    hostReadOnly ? "/dev/loop3 vfat 0" : "/dev/loop3 vfat 1"));
            EXPECT_EQ(disk.Storage().MountPoint(), image + ".fs/");
            CheckComposition(disk, "mass_storage",
                             {{"lun.0/ro", hostReadOnly ? "1" : "0"},
                              {"lun.0/file", image},
                              {"lun.0/inquiry_string", "KIRO"}});
            // The kernel does not make a drive read-only once it has an image.
            const std::string lun = gadgetDirectory + "functions/mass_storage.usb0/lun.0/";
            std::filesystem::create_directories(lun);
            for (const char* attribute : {"ro", "file"}) {
                std::filesystem::create_symlink("/last-written", lun + attribute);
            }
            disk.OnAdd();
            EXPECT_EQ(ReadFile("/last-written"), image);
            std::filesystem::remove_all(lun);
            disk.OnRemove();
        }
        EXPECT_EQ(mounts.back(), "umount with ");
        EXPECT_EQ(std::filesystem::file_size(image), size);
        EXPECT_EQ(std::filesystem::status(image).permissions(), std::filesystem::perms{01130});
    }
    ::umask(mask);
    sys->Ftruncate = [](auto...) { return FailWith(ENOSPC); };
    EXPECT_EQ(ErrorOf([] { USBGadgetMassStorage("disk", "udc.0", "KIRO", 4096, false); }), ENOSPC);
}

} // namespace
} // namespace vantorel::test
