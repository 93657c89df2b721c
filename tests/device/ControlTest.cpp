// The vendor function on the kernel's own FunctionFS, behind a real bus and the kernel's USB host.

#include "tests/device/UsbPort.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/usb/SubiRows.h"
#include "vantorel/camera/Camera.h"
#include "vantorel/camera/CameraManager.h"
#include "vantorel/usb/USB.h"
#include "vantorel/usb/USBGadgetSubi.h"

#include <gmock/gmock.h>

#include <fstream>
#include <iterator>
#include <string>

#include <sys/klog.h>
#include <sys/wait.h>

namespace vantorel {
namespace {

using test::Bytes;
using test::Outcome;
using test::refusedIn;
using test::Reply;
using test::silence;
using test::Word;

std::string TextOf(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

/** The port with the vendor function alone, plugged into the host. */
class ControlTest : public testing::Test, public USBGadgetObserver {
protected:
    void SetUp() override {
        if (!test::UsbPort::IsThere()) {
            GTEST_SKIP() << "needs the virtual device's USB port";
        }
        kirocamera_sim_set_identity(&test::subiIdentity);
        manager.AddObserver(usb.emplace("usb", "dummy_udc.0"));
        manager.AddObserver(subi.emplace("subi", "dummy_udc.0"));
        manager.Start();
        subi->AddObserver(*this);
        sdk.Connect();
        port.SetCable(true);
        descriptors = test::CountOpenDescriptors();
        usb->AddGadget(*subi);
        usb->BindGadgets();
        host.emplace();
        host->Open();
    }
    void TearDown() override {
        if (host) {
            host.reset();
            usb->UnbindGadgets();
            usb->RemoveGadget(*subi);
            port.SetCable(false);
            // It has gone without a trace, although its thread sat waiting for a request.
            EXPECT_EQ(test::CountOpenDescriptors(), descriptors);
            EXPECT_THAT(TextOf("/proc/mounts"), testing::Not(testing::HasSubstr("functionfs")));
            EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
            EXPECT_TRUE(std::filesystem::is_empty("/config/usb_gadget/g0/functions"));
        }
    }

    void OnUSBGadgetStopCaptureSessionRequest(USBGadget&) override { wishes += "stop "; }
    void OnUSBGadgetStartCaptureSessionRequest(USBGadget&) override { wishes += "start "; }
    void OnUSBGadgetError(USBGadget&, Error&) override { wishes += "error "; }

    Outcome Selected(unsigned selector, std::size_t length) {
        EXPECT_EQ(host->Out(85, Word(selector)), silence);
        return host->In(78, length);
    }

    test::CapturedOutput output;
    test::ManualCamera sdk;
    test::UsbPort port;
    CameraManager manager{0};
    std::optional<USB> usb;
    std::optional<USBGadgetSubi> subi;
    std::optional<test::UsbPort> host;
    std::string wishes;
    std::ptrdiff_t descriptors = 0;
};

/** What the bus makes of a row of the table. */
Outcome OnTheBus(const test::SubiRow& row) {
    const bool taken =
        (row.request == 84 && row.length == 2) || (row.request == 86 && row.length == 6);
    if (taken) {
        return silence; // acknowledged before it can be refused
    }
    // A request to the host that nobody answers is refused by the device's look for the next one.
    return row.outcome == silence && !row.data ? refusedIn : row.outcome;
}

TEST_F(ControlTest, AnswersEveryRequest) {
    test::CheckRows(*host, OnTheBus, silence);
    EXPECT_EQ(wishes, "stop ");
    EXPECT_THAT(output.Take(), testing::HasSubstr("SUBI: ep0 read failed errno: 51\n"));
}

TEST_F(ControlTest, TellsWhatTheDeviceAloneKnows) {
    const Outcome record = Selected(0, 36);
    ASSERT_TRUE(record.reply && record.reply->size() == 36);
    EXPECT_EQ(Bytes(record.reply->begin(), record.reply->begin() + 4), (Bytes{32, 27, 1, 5}));

    manager.OnConnectionStateChanged(ConnectionState::Battery, ConnectionState::Undetermined);
    const float spot = -10;
    kirocamera_sim_set_header(131, &spot, sizeof spot);
    EXPECT_EQ(sdk.Frame(), 0);
    EXPECT_EQ(Selected(26, 2), Reply(Word(0xfec0)));
    EXPECT_EQ(host->In(61, 2), Reply(Word(1)));

    // The settings are larger than what one transfer can carry.
    EXPECT_EQ(host->Out(86, test::Range(2560, 0)), silence);
    Bytes settings;
    while (settings.size() < KIROCAMERA_FACTORY_SETTINGS_SIZE) {
        const Outcome piece = host->In(88, 1024);
        ASSERT_TRUE(piece.reply);
        settings.insert(settings.end(), piece.reply->begin(), piece.reply->end());
    }
    EXPECT_EQ(settings, test::Factory(0, KIROCAMERA_FACTORY_SETTINGS_SIZE));

    // What Windows asks for to find a driver by itself.
    Bytes text(18);
    ASSERT_EQ(host->Control(0x80, 6, 0x3ee, text.data(), text.size()), 18);
    EXPECT_EQ(text, (Bytes{18, 3, 'M', 0, 'S', 0, 'F', 0, 'T', 0, '1', 0, '0', 0, '0', 0, 205, 0}));
}

TEST_F(ControlTest, HandsOutTheKernelsLog) {
    std::array<char, 4096> old{};
    while (::klogctl(9, nullptr, 0) > 0) {
        ::klogctl(2, old.data(), static_cast<int>(old.size()));
    }
    EXPECT_EQ(Selected(13, 4), Reply({0, 0, 0, 0}))
        << "an empty log must not keep the host waiting";
    const std::string line = "a line for the host " + std::string(70, '.');
    std::ofstream("/dev/kmsg") << line << std::endl;
    std::string log;
    for (Outcome count = Selected(13, 4); count.reply && count.reply->front() != 0;
         count = Selected(13, 4)) {
        const Outcome piece = Selected(14, count.reply->front());
        ASSERT_TRUE(piece.reply && piece.reply->size() <= 64);
        log.append(piece.reply->begin(), piece.reply->end());
    }
    EXPECT_THAT(log, testing::HasSubstr(line));
    std::ofstream("/dev/kmsg") << line << std::endl;
    Selected(13, 4);
    EXPECT_THAT(Selected(14, 4).reply, testing::Optional(testing::SizeIs(4)));
}

} // namespace
} // namespace vantorel
