// The functions for service work: the serial port and the network.

#include "tests/support/ScriptedSys.h"
#include "tests/usb/UsbTree.h"
#include "vantorel/system/Tools.h"
#include "vantorel/usb/USBGadgetRndis.h"
#include "vantorel/usb/USBGadgetSerial.h"

#include <gmock/gmock.h>

#include <barrier>
#include <iterator>
#include <mutex>
#include <utility>

namespace vantorel {
namespace {

using test::gadgetDirectory;
using testing::ElementsAre;
using testing::Pair;
using testing::UnorderedElementsAre;

auto Threads() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

class ServiceFunctionsTest : public test::UsbTest {
protected:
    void SetUp() override {
        UsbTest::SetUp();
        if (!root) {
            return;
        }
        test::MakeFifo("/never");
        root->Behave("case $1 in getty) read line </never;; ln) shift; exec /bin/ln \"$@\";; esac");
        std::filesystem::create_directories(gadgetDirectory + "configs/g0.1");
        sys->Nanosleep = [this](const timespec* pause, timespec*) {
            const std::lock_guard lock(mutex);
            pauses.emplace_back(pause->tv_sec, root->Calls().size());
            return 0;
        };
    }

    /** Binds functions and waits until their detached workers have ended. */
    void Bind(std::initializer_list<USBGadget*> gadgets) {
        const auto before = Threads();
        for (USBGadget* gadget : gadgets) {
            gadget->OnBind();
        }
        ASSERT_TRUE(test::Eventually([&] { return Threads() == before; }));
    }

    /** The calls once there are so many of them. */
    std::vector<std::string> Calls(std::size_t count) {
        test::Eventually([&] {
            const auto calls = root->Calls();
            return calls.size() >= count && std::ranges::count(calls, "") == 0;
        });
        return root->Calls();
    }

    test::ScopedSys sys;
    std::mutex mutex;
    std::vector<std::pair<time_t, std::size_t>> pauses; // seconds, calls before
};

TEST_F(ServiceFunctionsTest, ComposeTheSerialPort) {
    USBGadgetSerial serial("serial", "udc.0", false, false);
    const std::string function = gadgetDirectory + "functions/acm.usb0";
    const std::string link = gadgetDirectory + "configs/g0.1/acm.usb0";
    serial.OnAdd();
    EXPECT_TRUE(std::filesystem::is_directory(function));
    EXPECT_EQ(std::filesystem::read_symlink(link), function);
    serial.OnRemove();
    EXPECT_FALSE(std::filesystem::exists(function));
    EXPECT_FALSE(std::filesystem::is_symlink(link));
    EXPECT_DEATH(serial.OnRemove(), "");
}

TEST_F(ServiceFunctionsTest, NumberTheLinesOfAllSerialPorts) {
    USBGadgetSerial debugged("debugged", "udc.0", true, true);
    USBGadgetSerial shell("shell", "udc.0", false, true);
    USBGadgetSerial plain("plain", "udc.0", false, false);
    const std::string gdbserver = "/usr/bin/gdbserver|--multi|/dev/ttyGS";
    const auto getty = [](const char* number) {
        return "/bin/busybox|getty|-n|-l|/bin/sh|/dev/ttyGS" + std::string(number) + "|115200";
    };

    std::barrier together(2);
    const auto sleep = std::exchange(sys->Nanosleep, [&](const timespec* pause, timespec*) {
        EXPECT_EQ(pause->tv_sec, 2);
        together.arrive_and_wait();
        return 0;
    });
    Bind({&debugged, &shell});
    EXPECT_THAT(Calls(2), testing::AnyOf(UnorderedElementsAre(gdbserver + "0", getty("1")),
                                         UnorderedElementsAre(gdbserver + "1", getty("0"))));
    sys->Nanosleep = sleep;
    Bind({&plain}); // takes 2
    EXPECT_EQ(pauses.size(), 0U);
    Bind({&shell});
    EXPECT_EQ(Calls(3).back(), getty("3"));
    plain.OnUnbind();
    Bind({&shell});
    EXPECT_EQ(Calls(4).back(), getty("3"));
    for (int lines = 0; lines < 4; ++lines) {
        shell.OnUnbind(); // the numbers are the process's, other tests count on 0
    }
}

TEST_F(ServiceFunctionsTest, FreeTheLineBeforeTheyRemoveIt) {
    test::CoverWithTmpfs("/dev");
    const std::string line = "/dev/ttyGS0";
    test::WriteFile(line, "");
    test::WriteFile("/dev/null", ""); // a shell's job in the background wants it
    // A shell with a job in the background.
    root->Behave("case $1 in getty) exec 9</dev/ttyGS0; cat </never & read line </never;; "
                 "ln) shift; exec /bin/ln \"$@\";; esac");
    const auto users = [&] {
        const std::filesystem::directory_iterator processes("/proc");
        return std::ranges::count_if(processes, [&](const auto& process) {
            return Tools::GetFd(std::atoi(process.path().filename().c_str()), line) != -1;
        });
    };
    USBGadgetSerial serial("serial", "udc.0", false, true);
    for (const std::size_t calls : {2U, 4U}) { // ln and getty, each time
        serial.OnAdd();
        Bind({&serial});
        EXPECT_TRUE(test::Eventually([&] { return users() == 2; }));
        serial.OnUnbind();
        EXPECT_EQ(users(), 2);
        serial.OnRemove();
        EXPECT_EQ(users(), 0);
        Bind({&serial}); // a worker that comes too late
        serial.OnUnbind();
        EXPECT_EQ(root->Calls().size(), calls);
    }
    ::umount2("/dev", MNT_DETACH);
}

TEST_F(ServiceFunctionsTest, SurviveThatNoProcessCanBeHad) {
    USBGadgetSerial serial("serial", "udc.0", true, false);
    USBGadgetRndis network("network", "udc.0");
    sys->Fork = [] { return test::FailWith(EAGAIN); };
    Bind({&serial, &network});
    serial.OnUnbind();
    EXPECT_THAT(root->Calls(), testing::IsEmpty());
}

TEST_F(ServiceFunctionsTest, ComposeTheNetwork) {
    USBGadgetRndis network("network", "udc.0");
    const std::string function = gadgetDirectory + "functions/rndis.usb0";
    std::filesystem::create_directories(function + "/os_desc/interface.rndis");
    network.OnAdd();
    const std::map<std::string, std::string> expected = {
        {"os_desc/interface.rndis/compatible_id", "RNDIS"},
        {"os_desc/interface.rndis/sub_compatible_id", "5162001"}};
    EXPECT_EQ(test::FilesBelow(function), expected);
    EXPECT_EQ(std::filesystem::read_symlink(gadgetDirectory + "configs/g0.1/rndis.usb0"), function);
    std::filesystem::remove_all(function + "/os_desc"); // the kernel's, go with the function
    network.OnRemove();
    EXPECT_FALSE(std::filesystem::exists(function));
}

TEST_F(ServiceFunctionsTest, BringTheNetworkUpAndDown) {
    USBGadgetRndis network("network", "udc.0");
    Bind({&network});
    EXPECT_THAT(Calls(4), ElementsAre("/bin/busybox|hostname|-F|/etc/hostname",
                                      "/bin/busybox|sh|/etc/init.d/dropbear|start",
                                      "/bin/busybox|sh|/etc/init.d/busybox-udhcpd|start",
                                      "/bin/busybox|ifup|usb0"));
    EXPECT_THAT(pauses, ElementsAre(Pair(1, 1), Pair(1, 2), Pair(1, 3)));
    network.OnUnbind();
    auto calls = Calls(7);
    calls.erase(calls.begin(), calls.begin() + 4);
    EXPECT_THAT(calls, ElementsAre("/bin/busybox|ifdown|usb0",
                                   "/bin/busybox|sh|/etc/init.d/busybox-udhcpd|stop",
                                   "/bin/busybox|sh|/etc/init.d/dropbear|stop"));
}

} // namespace
} // namespace vantorel
