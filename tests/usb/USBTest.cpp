#include "vantorel/usb/USB.h"
#include "tests/support/ErrorOf.h"
#include "tests/support/Unused.h"
#include "tests/usb/UsbTree.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <future>

namespace vantorel::test {
namespace {

using testing::ElementsAre;
using testing::MatchesRegex;

/** Writes down what it is told, and what stands in the controller's attribute then. */
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

auto ThrowsFutureError(std::future_errc code) {
    return testing::Throws<std::future_error>(testing::Property(&std::future_error::code, code));
}

using USBTest = UsbTest;

// Nothing is described to a host afterwards, for it asks at once.
TEST_F(USBTest, DescribesItselfOnceThereIsACameraAndThenJoinsTheBus) {
    MakeFifo(gadgetDirectory + "UDC"); // lets its writer wait
    USB usb("usb", "udc.0");
    Camera& connected = Connect(1201);
    auto bound = std::async(std::launch::async, [&] { usb.BindGadgets(); });
    EXPECT_EQ(bound.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    EXPECT_FALSE(std::filesystem::exists(gadgetDirectory + "idProduct"));
    usb.OnCameraConnect(connected);
    EXPECT_TRUE(
        Eventually([&] { return ReadFile(gadgetDirectory + "os_desc/qw_sign") == "MSFT100"; }));
    auto files = FilesBelow(gadgetDirectory);
    const auto take = [&](const char* name) { return files.extract(name).mapped(); };
    EXPECT_THAT(take("idVendor"), MatchesRegex("0x[0-9a-f][0-9a-f][0-9a-f][0-9a-f]"));
    EXPECT_THAT(take("strings/0x409/manufacturer"), MatchesRegex(".*[^\n]"));
    EXPECT_THAT(take("strings/0x409/serialnumber"), MatchesRegex("0x[0-9a-f]+"));
    const Attributes expected = {{"idProduct", "32"},
                                 {"bcdDevice", "512"},
                                 {"strings/0x409/product", "TCM150 Thermal Camera"},
                                 {"os_desc/use", "1"},
                                 {"os_desc/b_vendor_code", "205"},
                                 {"os_desc/qw_sign", "MSFT100"}};
    EXPECT_EQ(files, expected);
    EXPECT_EQ(ReadFile(gadgetDirectory + "UDC"), "udc.0");
    bound.get();
}

TEST_F(USBTest, IsOneOfTwoModels) {
    for (const auto& [chip, id, product] :
         {std::tuple(1402, "32", "TCM150 Thermal Camera"), {0, "33", "TCM300 Thermal Camera"}}) {
        USB usb("usb", "udc.0");
        usb.OnCameraConnect(Connect(static_cast<std::uint16_t>(chip)));
        usb.BindGadgets();
        EXPECT_EQ(ReadFile(gadgetDirectory + "idProduct"), id);
        EXPECT_EQ(ReadFile(gadgetDirectory + "strings/0x409/product"), product);
    }
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
    usb.OnCameraConnect(Connect(1402));
    usb.BindGadgets();
    usb.RemoveGadget(b); // and keeps it in the list
    usb.OnFirmwareUpdateBegin(Unused<FirmwareUpdateManager>());
    EXPECT_THAT(log, ElementsAre("C add []", "B add []", "A add []", "C bind [udc.0]",
                                 "B bind [udc.0]", "A bind [udc.0]", "B remove [udc.0]",
                                 "C unbind [udc.0]", "B unbind [udc.0]", "A unbind [udc.0]"));
    EXPECT_EQ(ReadFile(gadgetDirectory + "UDC"), "\n");
    EXPECT_EQ(output->Take(), "USB BIND GADGETS\nUSB UNBIND GADGETS\n");
}

TEST_F(USBTest, ServesOneCameraAndOneBinding) {
    USB usb("usb", "udc.0");
    usb.OnCameraConnect(Connect(1201));
    usb.OnCameraDisconnect(*camera);
    usb.BindGadgets(); // the camera has gone again, its model still counts
    EXPECT_EQ(ReadFile(gadgetDirectory + "idProduct"), "32");
    EXPECT_EQ(ReadFile(gadgetDirectory + "strings/0x409/serialnumber"), "0");
    EXPECT_THAT([&] { usb.BindGadgets(); },
                ThrowsFutureError(std::future_errc::future_already_retrieved));
    EXPECT_THAT([&] { usb.OnCameraConnect(Connect(1402)); },
                ThrowsFutureError(std::future_errc::promise_already_satisfied));
}

TEST_F(USBTest, ReadsTheStateOfTheController) {
    USB usb("usb", "udc.0");
    for (const auto& [state, shown, connected] :
         {std::tuple("configured\n", "configured", true),
          {"configured", "configure", false},
          {"not attached\n", "not attached", false},
          {"", "", false},
          {"\n", "", false},
          {"unauthenticated\n", "unauthenticated", false}, // 16 bytes, the whole buffer
          {"configured\n", "configured", true}}) {
        WriteFile(stateFile, state);
        EXPECT_EQ(usb.IsConnected(), connected) << state;
        EXPECT_EQ(output->Take(), "USB CONNECTION STATE: " + std::string(shown) + "\n");
    }
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
    EXPECT_THAT(output->Take(), testing::HasSubstr("USB DTOR!\n"));
}

} // namespace
} // namespace vantorel::test
