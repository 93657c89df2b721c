#include "vantorel/usb/USB.h"
#include "tests/support/ScriptedSys.h"
#include "tests/support/Unused.h"
#include "tests/usb/UsbTree.h"
#include "vantorel/service/Error.h"
#include "vantorel/usb/USBGadget.h"

#include <gmock/gmock.h>

#include <array>
#include <cerrno>
#include <future>

#include <sys/inotify.h>

namespace vantorel {
namespace {

using test::gadgetDirectory;
using test::ReadFile;
using testing::ElementsAre;
using testing::HasSubstr;
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

class USBTest : public test::UsbTest {
protected:
    std::vector<std::string> log;
};

std::error_code FutureError(const std::function<void()>& call) {
    try {
        call();
    } catch (const std::future_error& error) {
        return error.code();
    }
    return {};
}

TEST_F(USBTest, DescribesItselfByTheCamera) {
    struct Row {
        std::uint16_t chip;
        const char* productId;
        const char* product;
    };
    for (const Row& row :
         {Row{1201, "32", "TCM150 Thermal Camera"}, Row{1402, "32", "TCM150 Thermal Camera"},
          Row{0, "33", "TCM300 Thermal Camera"}}) {
        USB usb("usb", "udc.0");
        usb.OnCameraConnect(Connect(row.chip));
        usb.BindGadgets();
        auto files = test::FilesBelow(gadgetDirectory);
        const auto take = [&](const char* name) { return files.extract(name).mapped(); };
        EXPECT_THAT(take("idVendor"), MatchesRegex("0x[0-9a-f][0-9a-f][0-9a-f][0-9a-f]"));
        EXPECT_THAT(take("strings/0x409/manufacturer"), MatchesRegex(".*[^\n]"));
        EXPECT_THAT(take("strings/0x409/serialnumber"), MatchesRegex("0x[0-9a-f]+"));
        const std::map<std::string, std::string> expected = {{"idProduct", row.productId},
                                                             {"bcdDevice", "512"},
                                                             {"strings/0x409/product", row.product},
                                                             {"os_desc/use", "1"},
                                                             {"os_desc/b_vendor_code", "205"},
                                                             {"os_desc/qw_sign", "MSFT100"},
                                                             {"UDC", "udc.0"}};
        EXPECT_EQ(files, expected);
        EXPECT_TRUE(std::filesystem::is_directory(gadgetDirectory + "configs/g0.1"));
    }
}

/** The names of the files that were written since the object was made, in this order. */
class WriteOrder {
public:
    WriteOrder() {
        for (const char* directory : {"", "strings/0x409", "os_desc"}) {
            ::inotify_add_watch(fd, (gadgetDirectory + directory).c_str(), IN_CLOSE_WRITE);
        }
    }
    ~WriteOrder() { ::close(fd); }

    std::vector<std::string> Names() const {
        alignas(inotify_event) std::array<char, 4096> buffer{};
        const ssize_t size = ::read(fd, buffer.data(), buffer.size());
        std::vector<std::string> names;
        for (const char* at = buffer.data(); at < buffer.data() + size;) {
            const auto* event = reinterpret_cast<const inotify_event*>(at);
            names.emplace_back(event->name);
            at += sizeof *event + event->len;
        }
        return names;
    }

private:
    int fd = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
};

TEST_F(USBTest, ComposesBeforeItBindsAndUnbindsFunctionsFirst) {
    USB usb("usb", "udc.0");
    RecordedGadget a("A", log);
    RecordedGadget b("B", log);
    RecordedGadget c("C", log);
    for (RecordedGadget* gadget : {&a, &b, &c}) {
        usb.AddGadget(*gadget);
    }
    usb.OnCameraConnect(Connect(1402));
    const WriteOrder order;
    usb.BindGadgets();
    EXPECT_THAT(order.Names(), ElementsAre("idProduct", "bcdDevice", "product", "serialnumber",
                                           "use", "b_vendor_code", "qw_sign", "UDC"));
    EXPECT_THAT(log, ElementsAre("C add []", "B add []", "A add []", "C bind [udc.0]",
                                 "B bind [udc.0]", "A bind [udc.0]"));
    log.clear();
    usb.RemoveGadget(b); // and keeps it in the list
    usb.OnFirmwareUpdateBegin(test::Unused<FirmwareUpdateManager>());
    EXPECT_THAT(log, ElementsAre("B remove [udc.0]", "C unbind [udc.0]", "B unbind [udc.0]",
                                 "A unbind [udc.0]"));
    EXPECT_EQ(ReadFile(gadgetDirectory + "UDC"), "\n");
    EXPECT_EQ(output->Take(), "USB BIND GADGETS\nUSB UNBIND GADGETS\n");
}

TEST_F(USBTest, WaitsForACamera) {
    USB usb("usb", "udc.0");
    RecordedGadget gadget("A", log);
    usb.AddGadget(gadget);
    Camera& connected = Connect(1201);
    auto bound = std::async(std::launch::async, [&] { usb.BindGadgets(); });
    EXPECT_EQ(bound.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    EXPECT_FALSE(std::filesystem::exists(gadgetDirectory + "UDC"));
    usb.OnCameraConnect(connected);
    bound.get();
    EXPECT_EQ(ReadFile(gadgetDirectory + "idProduct"), "32");
}

TEST_F(USBTest, ServesOneCameraAndOneBinding) {
    USB usb("usb", "udc.0");
    usb.OnCameraConnect(Connect(1201));
    usb.OnCameraDisconnect(*camera);
    usb.BindGadgets(); // the camera has gone again, its model still counts
    EXPECT_EQ(ReadFile(gadgetDirectory + "idProduct"), "32");
    EXPECT_EQ(ReadFile(gadgetDirectory + "strings/0x409/serialnumber"), "0");
    EXPECT_EQ(FutureError([&] { usb.BindGadgets(); }), std::future_errc::future_already_retrieved);
    EXPECT_EQ(FutureError([&] { usb.OnCameraConnect(Connect(1402)); }),
              std::future_errc::promise_already_satisfied);
}

TEST_F(USBTest, ReadsTheStateOfTheController) {
    USB usb("usb", "udc.0");
    struct Row {
        const char* state;
        const char* shown;
        bool connected;
    };
    for (const Row& row :
         {Row{"configured\n", "configured", true}, Row{"configured", "configure", false},
          Row{"not attached\n", "not attached", false}, Row{"", "", false}, Row{"\n", "", false},
          Row{"unauthenticated\n", "unauthenticated", false}, // 16 bytes, the whole buffer
          Row{"configured\n", "configured", true}}) {
        test::WriteFile(stateFile, row.state);
        EXPECT_EQ(usb.IsConnected(), row.connected) << row.state;
        EXPECT_EQ(output->Take(), "USB CONNECTION STATE: " + std::string(row.shown) + "\n");
    }
    test::ScopedSys sys;
    sys->Read = [](int, void*, std::size_t) -> ssize_t { return test::FailWith(EIO); };
    EXPECT_THROW(usb.IsConnected(), Error);
}

TEST_F(USBTest, NeedsAControllerAndAGadgetTree) {
    const auto failure = [](const char* controller) {
        try {
            USB usb("usb", controller);
        } catch (const Error& error) {
            return error.Value();
        }
        return 0;
    };
    EXPECT_EQ(failure("udc.1"), ENOENT);
    EXPECT_FALSE(std::filesystem::exists("/config/usb_gadget/g1"));
    test::WriteFile("/sys/class/udc/plain/state", "");
    EXPECT_EQ(failure("plain"), ENOENT);
    for (const char* directory : {"strings", "configs"}) {
        std::filesystem::create_directories(std::string("/config/usb_gadget/gplain/") + directory);
    }
    EXPECT_EQ(failure("plain"), 0);
    EXPECT_TRUE(std::filesystem::exists("/config/usb_gadget/gplain/configs/gplain.1"));
    EXPECT_THAT(output->Take(), HasSubstr("USB DTOR!\n"));
}

} // namespace
} // namespace vantorel
