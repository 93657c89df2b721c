#include "vantorel/system/Tools.h"
#include "tests/support/PrivateRoot.h"
#include "tests/support/ScriptedSys.h"
#include "vantorel/service/Error.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <functional>
#include <optional>

#include <fcntl.h>
#include <sys/wait.h>

namespace vantorel {
namespace {

using testing::Each;
using testing::ElementsAre;

class ToolsTest : public testing::Test {
protected:
    void SetUp() override {
        VANTOREL_NEED_PRIVATE_MOUNTS();
        root.emplace();
    }

    std::optional<test::PrivateRoot> root;
};

std::optional<Error> Thrown(const std::function<void()>& call) {
    try {
        call();
    } catch (const Error& error) {
        return error;
    }
    return std::nullopt;
}

TEST_F(ToolsTest, RunsProgramsAndWaitsForThem) {
    struct Row {
        std::function<void()> call;
        const char* command;
    };
    const Row rows[] = {
        {[] { Tools::Ln("-s", "a b", "c"); }, "/bin/busybox|ln|-s|a b|c"},
        {[] { Tools::Modprobe("m"); }, "/sbin/modprobe|m"},
        {[] { Tools::Modprobe("m", "1", "", "3", "4", "5"); }, "/sbin/modprobe|m|1||3|4|5"},
        {[] { Tools::Rmmod("m"); }, "/bin/busybox|rmmod|m"},
        {[] { Tools::Hostname("/etc/hostname"); }, "/bin/busybox|hostname|-F|/etc/hostname"},
        {[] { Tools::MkfsVfat("/dev/x", "LABEL"); }, "/bin/busybox|mkfs.vfat|-n|LABEL|/dev/x"},
        {[] { Tools::FwSetEnv("name", "$value;"); }, "/usr/bin/fw_setenv|name|$value;"},
        {[] { Tools::Untar("a.tar", "/d"); }, "/bin/busybox|tar|-xf|a.tar|-C|/d"},
        {[] { Tools::InitdStart("sshd"); }, "/bin/busybox|sh|/etc/init.d/sshd|start"},
        {[] { Tools::InitdStop("sshd"); }, "/bin/busybox|sh|/etc/init.d/sshd|stop"},
    };
    std::vector<std::string> expected;
    for (const Row& row : rows) {
        row.call();
        expected.emplace_back(row.command);
        ASSERT_EQ(root->Calls(), expected) << "not waited for";
    }
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
}

TEST_F(ToolsTest, LeavesOtherProgramsRunning) {
    struct Row {
        std::function<pid_t()> call;
        const char* command;
    };
    const Row rows[] = {
        {[] { return Tools::Ifup("usb0"); }, "/bin/busybox|ifup|usb0"},
        {[] { return Tools::Ifdown("usb0"); }, "/bin/busybox|ifdown|usb0"},
        {[] { return Tools::GdbserverStart("/dev/ttyGS0"); },
         "/usr/bin/gdbserver|--multi|/dev/ttyGS0"},
        {[] { return Tools::ShStart("vt100"); }, "/bin/busybox|sh"},
    };
    test::MakeFifo("/gate");
    root->Behave("read line </gate; exit 7"); // a call that waits hangs here
    std::vector<std::string> expected;
    for (const Row& row : rows) {
        const pid_t child = row.call();
        std::ofstream("/gate") << '\n';
        int status = 0;
        EXPECT_EQ(::waitpid(child, &status, 0), child) << "the caller may reap it";
        EXPECT_EQ(WEXITSTATUS(status), 7);
        expected.emplace_back(row.command);
        EXPECT_EQ(root->Calls(), expected);
    }
}

TEST_F(ToolsTest, GivesAShellItsEnvironment) {
    ::setenv("HOME", "/root", 1);
    ::setenv("TERM", "dumb", 1);
    ::setenv("KEPT", "yes", 1);
    root->Behave("printf %s \"$HOME $TERM $KEPT\" >/environment");
    ::waitpid(Tools::ShStart("vt100"), nullptr, 0);
    EXPECT_EQ(test::ReadFile("/environment"), "/ vt100 yes");
    EXPECT_STREQ(std::getenv("TERM"), "dumb") << "the caller's own changed";
}

// An application that waits for its signals has them blocked when it starts a server, and the
// server must not be deaf to its init script for that.
TEST_F(ToolsTest, UnblocksTheSignalsOfWhatItStarts) {
    sigset_t blocked;
    sigset_t before;
    ::sigemptyset(&blocked);
    ::sigaddset(&blocked, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &blocked, &before);
    root->Behave("kill -TERM $$; echo deaf >/survived");
    int status = 0;
    ::waitpid(Tools::Ifup("usb0"), &status, 0);
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(test::ReadFile("/survived"), "");
}

TEST_F(ToolsTest, ReportsTheWaitStatusOfProgramsThatMatter) {
    const std::function<void()> strict[] = {[] { Tools::FwSetEnv("a", "b"); },
                                            [] { Tools::Untar("a", "b"); }};
    const std::function<void()> lenient[] = {[] { Tools::Modprobe("m"); },
                                             [] { Tools::MkfsVfat("a", "b"); }};
    root->Behave("exit 2");
    for (const auto& call : strict) {
        EXPECT_EQ(Thrown(call), Error(512));
    }
    for (const auto& call : lenient) {
        EXPECT_EQ(Thrown(call), std::nullopt);
    }
    root->Behave("kill -9 $$");
    for (const auto& call : strict) {
        EXPECT_EQ(Thrown(call), std::nullopt);
    }
}

TEST_F(ToolsTest, EndsAChildThatCannotRunItsProgram) {
    std::filesystem::remove("/bin/busybox");
    std::filesystem::remove("/usr/bin/fw_setenv");
    const pid_t self = ::getpid();
    const std::function<void()> calls[] = {[] { Tools::Ln("-s", "a", "b"); },
                                           [] { Tools::FwSetEnv("a", "b"); },
                                           [] { ::waitpid(Tools::Ifup("usb0"), nullptr, 0); }};
    std::vector<std::optional<Error>> errors;
    for (const auto& call : calls) {
        errors.push_back(Thrown(call));
        if (::getpid() != self) {
            test::WriteFile("/twin", "a child went on with its parent's work");
            ::_exit(0);
        }
    }
    EXPECT_THAT(errors, ElementsAre(std::nullopt, Error(32512), std::nullopt));
    EXPECT_EQ(test::ReadFile("/twin"), "");
}

TEST_F(ToolsTest, ReportsThatNoProcessCanBeHad) {
    test::ScopedSys sys;
    sys->Fork = [] { return test::FailWith(EAGAIN); };
    EXPECT_EQ(Thrown([] { Tools::Ln("a", "b", "c"); }), Error(EAGAIN));
    EXPECT_EQ(Thrown([] { Tools::Ifup("usb0"); }), Error(EAGAIN));
    EXPECT_EQ(Thrown([] { Tools::GettyStart("/dev/ttyGS0", "9600"); }), Error(EAGAIN));
    sys->Fork = nullptr;
    sys->Waitpid = [](pid_t child, int*, int) {
        ::waitpid(child, nullptr, 0);
        return test::FailWith(EINTR);
    };
    EXPECT_EQ(Thrown([] { Tools::Rmmod("m"); }), Error(EINTR));
}

TEST_F(ToolsTest, KeepsAShellOnALine) {
    test::MakeFifo("/gate");
    root->Behave("read line </gate");
    const int own = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    const int inheritable = ::open("/dev/null", O_RDONLY);
    const pid_t supervisor = Tools::GettyStart("/dev/ttyGS1", "115200");
    for (std::size_t logins = 1; logins <= 3; ++logins) {
        ASSERT_TRUE(test::Eventually([&] { return root->Calls().size() == logins; }));
        std::ofstream("/gate") << '\n';
    }
    EXPECT_THAT(root->Calls(), Each("/bin/busybox|getty|-n|-l|/bin/sh|/dev/ttyGS1|115200"));
    const auto has = [&](int fd) {
        return std::filesystem::is_symlink("/proc/" + std::to_string(supervisor) + "/fd/" +
                                           std::to_string(fd));
    };
    EXPECT_FALSE(has(own)) << "would keep a device of the library busy";
    EXPECT_TRUE(has(inheritable));
    ::kill(supervisor, SIGKILL);
    EXPECT_EQ(::waitpid(supervisor, nullptr, 0), supervisor);
    ::close(own);
    ::close(inheritable);
}

TEST_F(ToolsTest, MakesAndRemovesEntries) {
    Tools::Mkdir("/d");
    EXPECT_EQ(std::filesystem::status("/d").permissions(), std::filesystem::perms{0600});
    test::WriteFile("/d/file", "x");
    Tools::Mkdir("/d"); // one that exists is fine
    EXPECT_EQ(Thrown([] { Tools::Mkdir("/none/d"); }), Error(ENOENT));
    EXPECT_EQ(Thrown([] { Tools::Rmdir("/d"); }), Error(ENOTEMPTY));
    Tools::Unlink("/d/file");
    EXPECT_EQ(Thrown([] { Tools::Unlink("/d/file"); }), Error(ENOENT));
    Tools::Rmdir("/d");
    EXPECT_FALSE(std::filesystem::exists("/d"));
}

TEST_F(ToolsTest, MountsOnce) {
    std::filesystem::create_symlink("/proc/mounts", "/etc/mtab");
    Tools::Mkdir("/m");
    Tools::Mount("first", "/m", "tmpfs", true);
    Tools::Mount("second", "/m", "tmpfs", false);
    EXPECT_TRUE(Tools::IsMounted("/m", "tmpfs"));
    const auto canWrite = [] { return std::ofstream("/m/file").is_open(); };
    EXPECT_FALSE(canWrite());
    Tools::Remount("/m", false);
    EXPECT_TRUE(canWrite());
    Tools::Remount("/m", true);
    EXPECT_FALSE(canWrite());
    Tools::Umount("/m");
    EXPECT_FALSE(Tools::IsMounted("/m", "tmpfs")) << "mounted twice";
    EXPECT_EQ(Thrown([] { Tools::Umount("/m"); }), Error(EINVAL));
    EXPECT_EQ(Thrown([] { Tools::Mount("x", "/m", "nofs", false); }), Error(ENODEV));
}

TEST_F(ToolsTest, ComparesWholeMountEntries) {
    EXPECT_FALSE(Tools::IsMounted("/tmp", "tmpfs")) << "no table";
    test::WriteFile("/etc/mtab", "/dev/sda1 /data ext4 rw 0 0\n"
                                 "none /data/my\\040disk vfat rw 0 0\n");
    EXPECT_TRUE(Tools::IsMounted("/data", "ext4"));
    EXPECT_TRUE(Tools::IsMounted("/data/my disk", "vfat"));
    EXPECT_FALSE(Tools::IsMounted("/data", "vfat"));
    EXPECT_FALSE(Tools::IsMounted("/data", "ext"));
    EXPECT_FALSE(Tools::IsMounted("/dat", "ext4"));
    EXPECT_FALSE(Tools::IsMounted("/data/", "ext4"));
}

TEST_F(ToolsTest, CopiesFiles) {
    const std::string content(100'000, '\0');
    test::WriteFile("/from", content + "end");
    test::WriteFile("/to", std::string(200'000, 'x'));
    Tools::Cp("/from", "/to");
    EXPECT_EQ(test::ReadFile("/to"), content + "end");
    Tools::Cp("/none", "/to");
    EXPECT_TRUE(std::filesystem::is_empty("/to"));
    Tools::Cp("/from", "/none/to");
}

/** Puts files of the test in the place of /proc. */
class ToolsQueriesTest : public ToolsTest {
protected:
    void SetUp() override {
        ToolsTest::SetUp();
        if (root) {
            test::CoverWithTmpfs("/proc");
        }
    }
    void TearDown() override {
        if (root) {
            ::umount("/proc");
        }
    }
};

TEST_F(ToolsQueriesTest, FindsProcesses) {
    std::filesystem::create_directories("/proc/12/fd");
    std::filesystem::create_directories("/proc/13");
    std::filesystem::create_symlink("/opt/app", "/proc/12/exe");
    std::filesystem::create_symlink("/dev/ttyGS0", "/proc/12/fd/7");
    EXPECT_EQ(Tools::PidOf("/opt/app"), 12);
    EXPECT_EQ(Tools::PidOf("/opt/ap"), -1);
    EXPECT_EQ(Tools::PidOf("/opt/app2"), -1);
    EXPECT_EQ(Tools::GetFd(12, "/dev/ttyGS0"), 7);
    EXPECT_EQ(Tools::GetFd(12, "/dev/ttyGS"), -1);
    EXPECT_EQ(Tools::GetFd(14, "/dev/ttyGS0"), -1);

    std::filesystem::create_symlink("/dev/ttyGS0", "/proc/12/fd/8");
    test::ScopedSys sys;
    int reads = 0;
    sys->Readlink = [&](const char* path, char* buffer, std::size_t size) -> ssize_t {
        return ++reads == 1 ? test::FailWith(ENOENT) : ::readlink(path, buffer, size);
    };
    EXPECT_EQ(Tools::GetFd(12, "/dev/ttyGS0"), -1) << "a descriptor of a process that is going";
    reads = 0;
    std::filesystem::create_symlink("/opt/app", "/proc/13/exe");
    EXPECT_GT(Tools::PidOf("/opt/app"), 0) << "one unreadable process hid the others";
}

TEST_F(ToolsQueriesTest, FindsFlashPartitions) {
    EXPECT_EQ(Tools::MtdOf("rootfs"), "");
    test::WriteFile("/proc/mtd", "dev:    size   erasesize  name\n"
                                 "mtd0: 00800000 00020000 \"FIT_0\"\n"
                                 "mtd11: 04000000 00020000 \"rootfs_1\"\n"
                                 "mtd2: 04000000 00020000 \"rootfs_0\"\n");
    EXPECT_EQ(Tools::MtdOf("rootfs_0"), "/dev/mtd2");
    EXPECT_EQ(Tools::MtdOf("rootfs"), "/dev/mtd11");
    EXPECT_EQ(Tools::MtdOf("env"), "");
}

TEST_F(ToolsQueriesTest, ReadsTheRunningSlot) {
    const std::pair<const char*, const char*> rows[] = {
        {"console=ttyS0 image_select=1 quiet\n", "1"},
        {"image_select=0\n", "0"},
        {"image_select=12", "1"},
        {"quiet image_select=\n", ""},
        {"image_select=", ""},
        {"image_select quiet\n", "i"},
    };
    for (const auto& [commandLine, slot] : rows) {
        test::WriteFile("/proc/cmdline", commandLine);
        EXPECT_EQ(Tools::ImageSelect(), slot) << commandLine;
    }
    test::WriteFile("/proc/cmdline", "console=ttyS0\n");
    EXPECT_THROW(Tools::ImageSelect(), std::out_of_range);
}

} // namespace
} // namespace vantorel
