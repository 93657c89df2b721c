// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/system/Tools.h"

#include "tests/support/ErrorOf.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/PrivateRoot.h"
#include "tests/support/ScriptedSys.h"
#include "vantorel/service/UniqueFd.h"

#include <gmock/gmock.h>

#include <csignal>
#include <functional>
#include <optional>
#include <stdexcept>

#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/wait.h>

namespace vantorel {
namespace {

using test::ErrorOf;

class ToolsTest : public testing::Test {
protected:
    void SetUp() override {
        VANTOREL_NEED_PRIVATE_MOUNTS();
        root.emplace();
    }

    std::optional<test::PrivateRoot> root;
};

TEST_F(ToolsTest, RunsProgramsAndWaitsForThemAndIgnoresTheStatusOfAllButOne) {
    const std::pair<std::function<void()>, std::string> rows[] = {
        {[] { Tools::Ln("-s", "a b", "c"); }, "/bin/busybox|ln|-s|a b|c"},
        {[] { Tools::Modprobe("m", "1", "", "3", "4", "5"); }, "/sbin/modprobe|m|1||3|4|5"},
        {[] { Tools::Rmmod("m"); }, "/bin/busybox|rmmod|m"},
        {[] { Tools::Hostname("/etc/hostname"); }, "/bin/busybox|hostname|-F|/etc/hostname"},
        {[] { Tools::MkfsVfat("/dev/x", "LABEL"); }, "/bin/busybox|mkfs.vfat|-n|LABEL|/dev/x"},
        {[] { Tools::FwSetEnv("name", "$value;"); }, "/usr/bin/fw_setenv|name|$value;"},
        {[] { Tools::InitdStart("sshd"); }, "/bin/busybox|sh|/etc/init.d/sshd|start"},
        {[] { Tools::InitdStop("sshd"); }, "/bin/busybox|sh|/etc/init.d/sshd|stop"},
    };
    test::ScopedSys sys;
    sys->Spawn = [](pid_t* child, const char* path, auto actions, auto attributes,
                    char* const* arguments, char* const* environment) {
        EXPECT_STREQ(arguments[0], path);
        return ::posix_spawn(child, path, actions, attributes, arguments, environment);
    };
    std::vector<std::string> expected;
    for (const auto& [call, command] : rows) {
        call();
        expected.push_back(command);
        ASSERT_EQ(root->Calls(), expected) << "returned before the program ended";
    }
    root->Behave("exit 2");
    for (const auto& [call, command] : rows) {
        EXPECT_EQ(ErrorOf(call), command.starts_with("/usr/bin/fw_setenv") ? 512 : 0) << command;
    }
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child was not reaped";
}

TEST_F(ToolsTest, LeavesOtherProgramsRunning) {
    test::MakeFifo("/gate");
    root->Behave("read line </gate"); // blocks a call that waits for the program
    for (const auto start : {&Tools::Ifup, &Tools::Ifdown, &Tools::GdbserverStart}) {
        const pid_t child = start("a");
        std::ofstream("/gate") << '\n';
        EXPECT_EQ(::waitpid(child, nullptr, 0), child) << "the caller may reap it";
    }
    EXPECT_THAT(root->Calls(), testing::ElementsAre("/bin/busybox|ifup|a", "/bin/busybox|ifdown|a",
                                                    "/usr/bin/gdbserver|--multi|a"));
}

// An application that waits for its signals blocks them, but its init script must be able to stop
// the server that it starts. A background job of a shell ignores Ctrl-C.
TEST_F(ToolsTest, StartsAShellWithItsEnvironmentAndDefaultSignals) {
    ::setenv("HOME", "/root", 1);
    ::setenv("TERM", "dumb", 1);
    ::setenv("KEPT", "yes", 1);
    sigset_t blocked;
    sigset_t before;
    ::sigemptyset(&blocked);
    ::sigaddset(&blocked, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &blocked, &before);
    ::signal(SIGINT, SIG_IGN);
    test::ScopedSys sys;
    for (const std::string signal : {"TERM", "INT", "TERM", "INT"}) {
        root->Behave("printf %s \"$HOME $TERM $KEPT\" >/written; kill -" + signal +
                     " $$; echo deaf >>/written");
        int status = 0;
        ::waitpid(Tools::ShStart("vt100"), &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status)) << signal;
        EXPECT_EQ(test::ReadFile("/written"), "/ vt100 yes");
        if (signal == "INT") {
            sys->Spawn = [](auto...) { return ENOMEM; }; // the child is forked instead
        }
    }
    for (const std::string signal : {"TERM", "INT"}) {
        root->Behave("kill -" + signal + " $$; echo deaf >/written");
        const std::size_t started = root->Calls().size();
        const pid_t supervisor = Tools::GettyStart("/dev/ttyGS1", "115200");
        EXPECT_TRUE(test::Eventually([&] { return root->Calls().size() > started + 2; }));
        ::kill(supervisor, SIGKILL);
        EXPECT_EQ(::waitpid(supervisor, nullptr, 0), supervisor);
        EXPECT_EQ(test::ReadFile("/written"), "/ vt100 yes") << "a getty's shell ignores " + signal;
    }
    ::signal(SIGINT, SIG_DFL);
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    EXPECT_STREQ(std::getenv("TERM"), "dumb") << "the caller's variable changed";
}

TEST_F(ToolsTest, ReportsTheWaitStatusOfFwSetEnvAndUntar) {
    const auto setEnvironment = [] { Tools::FwSetEnv("a", "b"); };
    const auto unpack = [] { Tools::Untar("a", "b"); };
    root->Behave("exit 2");
    EXPECT_EQ(ErrorOf(setEnvironment), 512);
    EXPECT_EQ(ErrorOf(unpack), 512);
    root->Behave("kill -9 $$");
    EXPECT_EQ(ErrorOf(setEnvironment), 0);
    EXPECT_EQ(ErrorOf(unpack), 0);
}

TEST_F(ToolsTest, ContinuesWithoutAMissingProgram) {
    std::filesystem::remove("/bin/busybox");
    std::filesystem::remove("/usr/bin/fw_setenv");
    EXPECT_EQ(ErrorOf([] { Tools::Ln("-s", "a", "b"); }), 0);
    EXPECT_EQ(ErrorOf([] { Tools::FwSetEnv("a", "b"); }), 32512);
    EXPECT_EQ(ErrorOf([] { ::waitpid(Tools::Ifup("usb0"), nullptr, 0); }), 0);
}

// posix_spawn() may fail for lack of memory although fork() succeeds.
TEST_F(ToolsTest, ReportsAFailedStartOnlyWhenForkAlsoFails) {
    const auto link = [] { Tools::Ln("-s", "a", "b"); };
    const auto load = [] { Tools::Modprobe("m"); };
    test::ScopedSys sys;
    sys->Spawn = [](auto...) { return ENOMEM; };
    EXPECT_EQ(ErrorOf(link), 0);
    EXPECT_EQ(ErrorOf(load), 0);
    EXPECT_EQ(root->Calls().size(), 2U) << "fork() was not tried";
    sys->Fork = [] { return test::FailWith(ENOMEM); };
    EXPECT_EQ(ErrorOf(link), ENOMEM);
    EXPECT_EQ(ErrorOf(load), ENOMEM);
}

TEST_F(ToolsTest, RestartsAShellOnALineWithoutDescriptorsOfTheLibrary) {
    test::MakeFifo("/gate");
    root->Behave("read line </gate");
    const UniqueFd own(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    const UniqueFd inheritable(::open("/dev/null", O_RDONLY));
    const pid_t supervisor = Tools::GettyStart("/dev/ttyGS1", "115200");
    for (std::size_t logins = 1; logins <= 2; ++logins) {
        ASSERT_TRUE(test::Eventually([&] { return root->Calls().size() == logins; }));
        std::ofstream("/gate") << '\n';
    }
    EXPECT_EQ(root->Calls()[1], "/bin/busybox|getty|-n|-l|/bin/sh|/dev/ttyGS1|115200");
    const std::string kept = "/proc/" + std::to_string(supervisor) + "/fd/";
    EXPECT_FALSE(std::filesystem::is_symlink(kept + std::to_string(own.Get())));
    EXPECT_TRUE(std::filesystem::is_symlink(kept + std::to_string(inheritable.Get())));
    ::kill(supervisor, SIGKILL);
    EXPECT_EQ(::waitpid(supervisor, nullptr, 0), supervisor);
}

TEST_F(ToolsTest, CreatesDirectoriesForRootOnlyAndCopiesWithoutErrors) {
    Tools::Mkdir("/d");
    EXPECT_EQ(std::filesystem::status("/d").permissions(), std::filesystem::perms{0600});
    const std::string content = std::string(100'000, '\0') + "end";
    test::WriteFile("/from", content);
    test::WriteFile("/to", std::string(200'000, 'x'));
    Tools::Cp("/from", "/to");
    EXPECT_EQ(test::ReadFile("/to"), content);
    Tools::Cp("/none", "/to");
    EXPECT_TRUE(std::filesystem::is_empty("/to"));
    Tools::Cp("/from", "/none/to");
    Tools::Cp("/proc/version", "/to"); // a file of unknown length, outside the page cache
    EXPECT_EQ(test::ReadFile("/to"), test::ReadFile("/proc/version"));
}

// An archive may have hundreds of megabytes, and the drive any file system.
TEST_F(ToolsTest, CopiesTheWholeFileInPiecesOrWithoutSendfile) {
    const std::string content = std::string(100'000, '\0') + "end";
    test::WriteFile("/from", content);
    test::ScopedSys sys;
    int calls = 0;
    const auto pieces = [&](int to, int from, off_t* offset, std::size_t) -> ssize_t {
        return ++calls % 3 == 0 ? test::FailWith(EINTR) : ::sendfile(to, from, offset, 30'000);
    };
    const auto unable = [](int error) {
        return [error](auto...) -> ssize_t { return test::FailWith(error); };
    };
    using Send = std::function<ssize_t(int, int, off_t*, std::size_t)>;
    for (const Send& send : {Send(pieces), Send(unable(EINVAL)), Send(unable(ENOSYS))}) {
        sys->Sendfile = send;
        test::WriteFile("/to", std::string(200'000, 'x'));
        Tools::Cp("/from", "/to");
        EXPECT_EQ(test::ReadFile("/to"), content);
    }
}

// A service searches for processes and mounts as long as the device runs.
TEST_F(ToolsTest, ClosesAllDescriptorsAfterASearch) {
    std::filesystem::create_symlink("/proc/mounts", "/etc/mtab");
    const auto before = test::CountOpenDescriptors();
    Tools::PidOf("/none");
    Tools::GetFd(::getpid(), "/none");
    Tools::IsMounted("/none", "vfat");
    Tools::MtdOf("none");
    Tools::Cp("/etc/mtab", "/to");
    EXPECT_EQ(test::CountOpenDescriptors(), before);
}

TEST_F(ToolsTest, MountsOnceAndComparesWholeEntriesOfTheTable) {
    std::filesystem::create_symlink("/proc/mounts", "/etc/mtab");
    Tools::Mkdir("/m");
    Tools::Mount("first", "/m", "tmpfs", true);
    Tools::Mount("second", "/m", "tmpfs", false);
    const auto canWrite = [] { return std::ofstream("/m/file").is_open(); };
    EXPECT_FALSE(canWrite());
    Tools::Remount("/m", false);
    EXPECT_TRUE(canWrite());
    Tools::Remount("/m", true);
    EXPECT_FALSE(canWrite());
    Tools::Umount("/m");
    EXPECT_FALSE(Tools::IsMounted("/m", "tmpfs")) << "mounted twice";

    std::filesystem::remove("/etc/mtab");
    EXPECT_FALSE(Tools::IsMounted("/tmp", "tmpfs")) << "the table does not exist";
    test::WriteFile("/etc/mtab", "/dev/sda1 /data ext4 rw 0 0\n"
                                 "none /data/my\\040disk vfat rw 0 0\n");
    EXPECT_TRUE(Tools::IsMounted("/data/my disk", "vfat"));
    EXPECT_FALSE(Tools::IsMounted("/data", "vfat"));
    EXPECT_FALSE(Tools::IsMounted("/data", "ext"));
    EXPECT_FALSE(Tools::IsMounted("/data/", "ext4"));
}

TEST_F(ToolsTest, FindsProcesses) {
    // The kernel lists "self" before the processes.
    EXPECT_EQ(Tools::PidOf(std::filesystem::read_symlink("/proc/self/exe")), ::getpid());
    UniqueFd below(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    const UniqueFd zero(::open("/dev/zero", O_RDONLY | O_CLOEXEC));
    below.Reset(); // the search's own descriptor takes this number and is met first
    EXPECT_EQ(Tools::GetFd(::getpid(), "/dev/zero"), zero.Get());
    test::CoverWithTmpfs("/proc");
    for (const char* folder : {"/proc/12/fd", "/proc/13"}) {
        std::filesystem::create_directories(folder);
    }
    std::filesystem::create_symlink("/opt/app", "/proc/12/exe"); // 13 is a kernel thread
    std::filesystem::create_symlink("/dev/ttyGS0", "/proc/12/fd/7");
    std::filesystem::create_symlink("/dev/ttyGS0", "/proc/12/fd/8");
    EXPECT_EQ(Tools::PidOf("/opt/app"), 12);
    EXPECT_EQ(Tools::PidOf("/opt/ap"), -1);
    EXPECT_THAT(Tools::GetFd(12, "/dev/ttyGS0"), testing::AnyOf(7, 8));
    EXPECT_EQ(Tools::GetFd(12, "/dev/ttyGS"), -1);

    test::ScopedSys sys;
    sys->Readlink = [first = true](const char* path, char* buffer, std::size_t size) mutable {
        return std::exchange(first, false) ? test::FailWith(ENOENT)
                                           : ::readlink(path, buffer, size);
    };
    EXPECT_EQ(Tools::GetFd(12, "/dev/ttyGS0"), -1) << "a descriptor of an exiting process";
}

// tests/fuzz/system_texts covers other texts.
TEST_F(ToolsTest, FindsFlashPartitionsAndTheRunningSlot) {
    test::CoverWithTmpfs("/proc");
    test::WriteFile("/proc/mtd", "dev:    size   erasesize  name\n"
                                 "mtd11: 04000000 00020000 \"rootfs_1\"\n"
                                 "mtd2: 04000000 00020000 \"rootfs_0\"\n");
    EXPECT_EQ(Tools::MtdOf("rootfs_0"), "/dev/mtd2");
    EXPECT_EQ(Tools::MtdOf("rootfs"), "/dev/mtd11");
    EXPECT_EQ(Tools::MtdOf(""), "/dev/dev") << "every line contains the empty name";

    for (const auto& [commandLine, slot] : {std::pair{"a image_select=1 quiet\n", "1"},
                                            {"image_select=12", "1"},
                                            {"quiet image_select=\n", ""},
                                            {"image_select quiet\n", "i"}}) {
        test::WriteFile("/proc/cmdline", commandLine);
        EXPECT_EQ(Tools::ImageSelect(), slot) << commandLine;
    }
    test::WriteFile("/proc/cmdline", "console=ttyS0 quiet\n");
    EXPECT_THROW(Tools::ImageSelect(), std::out_of_range);
}

} // namespace
} // namespace vantorel
