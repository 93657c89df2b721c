// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/usb/USB.h"
#include "tests/support/ErrorOf.h"
#include "tests/support/ScriptedSys.h"
#include "tests/support/Unused.h"
#include "tests/usb/UsbTree.h"

#include <gmock/gmock.h>

#include <future>
#include <system_error>
#include <tuple>

namespace vantorel::test {
namespace {

using testing::ElementsAre;
using testing::MatchesRegex;

/** Records each notification with the value of the controller's attribute at that time. */
class RecordedGadget final : public USBGadget {
public:
    RecordedGadget(std::string gadgetName, std::vector<std::string>& into)
        : USBGadget(std::move(gadgetName), "test", "udc.0"), log(into) {}
    void OnAdd() override { Note("add"); }
    void OnRemove() override { Note("remove"); }
    void OnBind() override { Note("bind"); }
    void OnUnbind() override { Note("unbind"); }

private:
    void Note(const char* what) {
        log.push_back(Name() + " " + what + " [" + ReadFile(gadgetDirectory + "UDC") + "]");
    }
    std::vector<std::string>& log;
};

using USBTest = UsbTest;

TEST_F(USBTest, DescribesItselfOnceACameraIsConnected) {
    const auto files = [] {
        std::string texts;
        for (const auto& [name, text] : FilesBelow(gadgetDirectory)) {
            texts += name + "=" + text + ";";
        }
        return texts;
    };
    USB usb("usb", "udc.0");
    const std::string before = files();
    Camera& connected = Connect(1201);
    auto bound = std::async(std::launch::async, [&] { usb.BindGadgets(); });
    EXPECT_EQ(bound.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    EXPECT_EQ(files(), before);
    usb.OnCameraConnect(connected);
    bound.get();
    EXPECT_THAT(files(),
                MatchesRegex("UDC=udc.0;bcdDevice=512;idProduct=32;"
                             "idVendor=0x[0-9a-f][0-9a-f][0-9a-f][0-9a-f];"
                             "os_desc/b_vendor_code=205;os_desc/qw_sign=MSFT100;os_desc/use=1;"
                             "strings/0x409/manufacturer=[^\n;]+;"
                             "strings/0x409/product=TCM150 Thermal Camera;"
                             "strings/0x409/serialnumber=0x[0-9a-f]+;"));
    const auto descriptors = std::filesystem::directory_iterator(gadgetDirectory + "os_desc");
    EXPECT_EQ(std::distance(begin(descriptors), end(descriptors)), 3)
        << "with a link to the configuration hosts get other descriptors";
}

TEST_F(USBTest, WritesNoAttributeAfterItJoinsTheBus) { // the host reads the attributes at once
    std::filesystem::create_directory(gadgetDirectory + "strings/0x409");
    for (const char* attribute :
         {"UDC", "idVendor", "idProduct", "bcdDevice", "os_desc/use", "os_desc/b_vendor_code",
          "os_desc/qw_sign", "strings/0x409/product", "strings/0x409/serialnumber"}) {
        std::filesystem::create_symlink("/last-written", gadgetDirectory + attribute);
    }
    USB usb("usb", "udc.0");
    usb.OnCameraConnect(Connect(1201));
    usb.BindGadgets();
    EXPECT_EQ(ReadFile("/last-written"), "udc.0");
}

// When the kernel refuses an attribute, the next one goes through the same stream. A controller
// that is busy refuses the last one.
TEST_F(USBTest, DescribesItselfAroundAnAttributeThatFails) {
    const std::pair<const char*, std::string> attributes[] = {
        {"bcdDevice", "512"}, {"os_desc/qw_sign", "MSFT100"}, {"UDC", "udc.0"}};
    for (const bool isOpened : {false, true}) {
        for (const auto& refused : attributes) {
            USB usb("usb", "udc.0");
            const std::string path = gadgetDirectory + refused.first;
            std::filesystem::remove(path);
            if (isOpened) {
                std::filesystem::create_symlink("/dev/full", path);
            } else {
                std::filesystem::create_directory(path);
            }
            usb.OnCameraConnect(Connect(1201));
            usb.BindGadgets();
            EXPECT_FALSE(usb.IsConnected());
            usb.UnbindGadgets();
            std::filesystem::remove(path);
            for (const auto& [name, value] : attributes) {
                if (name != refused.first && name != std::string("UDC")) {
                    EXPECT_EQ(ReadFile(gadgetDirectory + name), value) << refused.first;
                }
            }
        }
    }
}

TEST_F(USBTest, IsConnectedWhenTheControllerIsConfigured) {
    USB usb("usb", "udc.0");
    const std::tuple<const char*, bool, const char*> rows[] = {
        {"configured\n", true, "configured"},
        {"not attached\n", false, "not attached"},
        {"configured", false, "configure"}, // the last letter is removed instead of the newline
        {"", false, ""},
        {"configured", false, "configure"},
        {"\n", false, ""},
        {"configured\n", true, "configured"},
        {"configured!\n", false, "configured!"},
        {"xconfigured\n", false, "xconfigured"},
        {"configured 12345", false, "configured 1234"}, // the buffer is full
        {"not configured, longer\n", false, "not configured,"},
        {"addressed\n", false, "addressed"},
        {"suspended\n", false, "suspended"},
    };
    for (const auto& [state, connected, text] : rows) {
        WriteFile(stateFile, state);
        output->Take();
        EXPECT_EQ(usb.IsConnected(), connected) << state;
        EXPECT_EQ(output->Take(), std::string("USB CONNECTION STATE: ") + text + "\n");
    }
    ScopedSys sys;
    sys->Read = [](auto...) { return FailWith(EIO); };
    EXPECT_EQ(ErrorOf([&] { usb.IsConnected(); }), EIO);
}

TEST_F(USBTest, AddsFunctionsBeforeItJoinsTheBusAndUnbindsThemBeforeItLeaves) {
    USB usb("usb", "udc.0");
    std::vector<std::string> log;
    RecordedGadget a("A", log);
    RecordedGadget b("B", log);
    RecordedGadget c("C", log);
    for (RecordedGadget* gadget : {&a, &b, &c}) {
        usb.AddGadget(*gadget);
    }
    usb.OnCameraConnect(Connect(0));
    usb.BindGadgets();
    EXPECT_EQ(ReadFile(gadgetDirectory + "idProduct"), "33");
    EXPECT_EQ(ReadFile(gadgetDirectory + "strings/0x409/product"), "TCM300 Thermal Camera");
    usb.RemoveGadget(b); // it stays in the list
    usb.OnFirmwareUpdateBegin(Unused<FirmwareUpdateManager>());
    EXPECT_THAT(log, ElementsAre("C add []", "B add []", "A add []", "C bind [udc.0]",
                                 "B bind [udc.0]", "A bind [udc.0]", "B remove [udc.0]",
                                 "C unbind [udc.0]", "B unbind [udc.0]", "A unbind [udc.0]"));
    EXPECT_EQ(ReadFile(gadgetDirectory + "UDC"), "\n");
    EXPECT_EQ(output->Take(), "USB BIND GADGETS\nUSB UNBIND GADGETS\n");
}

/** The code of the future_error that an operation throws. */
template <typename Operation>
std::error_code FutureErrorOf(Operation operation) {
    try {
        operation();
    } catch (const std::future_error& error) {
        return error.code();
    }
    return {};
}

TEST_F(USBTest, AcceptsOnlyOneCameraAndOneBinding) {
    USB usb("usb", "udc.0");
    std::vector<std::string> log;
    RecordedGadget a("A", log);
    RecordedGadget b("B", log);
    usb.AddGadget(a);
    usb.AddGadget(b);
    usb.OnCameraConnect(Connect(1402));
    usb.OnCameraDisconnect(*camera);
    usb.BindGadgets(); // the camera is disconnected, but its model still applies
    EXPECT_EQ(ReadFile(gadgetDirectory + "idProduct"), "32");
    EXPECT_EQ(ReadFile(gadgetDirectory + "strings/0x409/serialnumber"), "0");
    EXPECT_EQ(FutureErrorOf([&] { usb.BindGadgets(); }),
              std::future_errc::future_already_retrieved);
    EXPECT_THAT(log, ElementsAre("B add []", "A add []", "B bind [udc.0]", "A bind [udc.0]",
                                 "B add [udc.0]", "A add [udc.0]"));
    EXPECT_EQ(FutureErrorOf([&] { usb.OnCameraConnect(Connect(1402)); }),
              std::future_errc::promise_already_satisfied);
    EXPECT_EQ(output->Take(), "USB BIND GADGETS\nUSB BIND GADGETS\n");
}

// Only UnbindGadgets() leaves the bus.
TEST_F(USBTest, StaysOnTheBusWhenDestroyed) {
    std::vector<std::string> log;
    RecordedGadget gadget("A", log);
    std::optional<USB> usb(std::in_place, "usb", "udc.0");
    usb->AddGadget(gadget);
    usb->OnCameraConnect(Connect(1201));
    usb->BindGadgets();
    log.clear();
    output->Take();
    usb.reset();
    EXPECT_TRUE(log.empty());
    EXPECT_EQ(ReadFile(gadgetDirectory + "UDC"), "udc.0");
    EXPECT_EQ(output->Take(), "USB DTOR!\n");
}

// An application that ends before a camera connects must not leave a thread blocked in the binding.
TEST_F(USBTest, EndsAWaitingBindingWhenDestroyed) {
    std::optional<USB> usb(std::in_place, "usb", "udc.0");
    const auto isRefused = [&usb] {
        try {
            usb->BindGadgets();
        } catch (const std::future_error&) {
            // The exception is not read: the thread sanitizer does not see its reference count.
            return true;
        }
        return false;
    };
    auto one = std::async(std::launch::async, isRefused);
    auto other = std::async(std::launch::async, isRefused);
    const auto isOver = [](const std::future<bool>& binding) {
        return binding.wait_for(std::chrono::milliseconds(1)) == std::future_status::ready;
    };
    while (!isOver(one) && !isOver(other)) {
    }
    // One binding is refused, so the other waits.
    auto& waiting = isOver(one) ? other : one;
    EXPECT_FALSE(isOver(waiting));
    usb.reset();
    EXPECT_TRUE(waiting.get());
}

TEST_F(USBTest, NeedsAControllerAndAGadgetTree) {
    const auto failure = [](const char* controller) {
        return ErrorOf([&] { USB("usb", controller); });
    };
    EXPECT_EQ(failure("udc.1"), ENOENT);
    EXPECT_FALSE(std::filesystem::exists("/config/usb_gadget/g1"));
    WriteFile("/sys/class/udc/plain/state", "");
    EXPECT_EQ(failure("plain"), ENOENT);
    for (const char* directory : {"strings", "configs"}) {
        std::filesystem::create_directories(std::string("/config/usb_gadget/gplain/") + directory);
    }
    EXPECT_EQ(failure("plain"), 0);
    EXPECT_TRUE(std::filesystem::exists("/config/usb_gadget/gplain/configs/gplain.1"));
    WriteFile("/sys/class/udc/soc.usb.0/state", "");
    EXPECT_EQ(failure("soc.usb.0"), 0) << "the gadget's number follows the last dot";
    EXPECT_THAT(output->Take(), testing::HasSubstr("USB DTOR!\n"));
}

} // namespace
} // namespace vantorel::test
