// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// The vendor function on the kernel's FunctionFS, with a real bus and the kernel's USB host.

#include "tests/device/UsbPort.h"
#include "tests/support/ErrorOf.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/PrivateRoot.h"
#include "tests/usb/SubiTest.h"
#include "vantorel/usb/USB.h"

#include <gmock/gmock.h>

#include <atomic>
#include <semaphore>

#include <sys/klog.h>
#include <sys/wait.h>

namespace vantorel::test {
namespace {

using testing::HasSubstr;

/** Blocks the device's thread, once armed, when it starts a session. */
struct Gate final : USBGadgetObserver {
    void OnUSBGadgetStartCaptureSessionRequest(USBGadget&) override {
        if (armed.exchange(false)) {
            entered.release();
            passed.acquire();
        }
    }
    void OnUSBGadgetStopCaptureSessionRequest(USBGadget&) override {}
    void OnUSBGadgetError(USBGadget&, Error&) override {}

    std::atomic<bool> armed{false};
    std::binary_semaphore entered{0};
    std::binary_semaphore passed{0};
};

/** A port with only the vendor function, plugged into the host. */
class ControlTest : public testing::Test {
protected:
    void SetUp() override {
        if (!UsbPort::IsThere()) {
            GTEST_SKIP() << "needs the virtual device's USB port";
        }
        kirocamera_sim_set_identity(&subiIdentity);
        manager.AddObserver(usb.emplace("usb", "dummy_udc.0"));
        manager.AddObserver(subi.emplace("subi", "dummy_udc.0"));
        manager.Start();
        subi->AddObserver(wishes);
        subi->AddObserver(gate);
        sdk.Connect();
        port.SetCable(true);
        descriptors = CountOpenDescriptors();
        usb->AddGadget(*subi);
        BeforeBinding();
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
            // The function leaves nothing behind, although its thread was waiting for a request.
            EXPECT_EQ(CountOpenDescriptors(), descriptors);
            EXPECT_THAT(ReadFile("/proc/mounts"), testing::Not(HasSubstr("functionfs")));
            EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
            EXPECT_TRUE(std::filesystem::is_empty("/config/usb_gadget/g0/functions"));
        }
    }

    virtual void BeforeBinding() {}

    CapturedOutput output;
    ManualCamera sdk;
    UsbPort port;
    CameraManager manager{0};
    Wishes wishes;
    Gate gate;
    std::optional<USB> usb;
    std::optional<USBGadgetSubi> subi;
    std::optional<UsbPort> host;
    std::ptrdiff_t descriptors = 0;
};

/** The outcome of a table row on the bus. */
Outcome OnTheBus(const SubiRow& row) {
    const bool taken =
        (row.request == 84 && row.length == 2) || (row.request == 86 && row.length == 6);
    if (taken) {
        return silence; // acknowledged before it can be refused
    }
    // An IN request without a reply is refused when the device reads the next request.
    return row.outcome == silence && !row.data ? refusedIn : row.outcome;
}

TEST_F(ControlTest, AnswersEveryRequest) {
    CheckRows(*host, OnTheBus);
    EXPECT_EQ(wishes.Take(), subiRowsWishes);
    EXPECT_THAT(output.Take(), HasSubstr("SUBI: ep0 read failed errno: 51\n"));
}

TEST_F(ControlTest, ReportsTheDevicesOwnValues) {
    const Outcome record = Selected(*host, 0, 36);
    ASSERT_TRUE(record.reply && record.reply->size() == 36);
    EXPECT_EQ(Bytes(record.reply->begin(), record.reply->begin() + 4), (Bytes{32, 27, 1, 5}));

    manager.OnConnectionStateChanged(ConnectionState::Battery, ConnectionState::Undetermined);
    const float spot = -10;
    kirocamera_sim_set_header(131, &spot, sizeof spot);
    EXPECT_EQ(sdk.Frame(), 0);
    EXPECT_EQ(Selected(*host, 26, 2), Reply(Word(0xfec0)));
    EXPECT_EQ(host->In(61, 2), Reply(Word(1)));

    // The OS string descriptor. 205 is the code that it states; no descriptor answers it.
    Bytes text(18);
    ASSERT_EQ(host->Control(0x80, 6, 0x3ee, text.data(), text.size()), 18);
    EXPECT_EQ(text, (Bytes{18, 3, 'M', 0, 'S', 0, 'F', 0, 'T', 0, '1', 0, '0', 0, '0', 0, 205, 0}));
}

TEST_F(ControlTest, SendsTheKernelsLog) {
    for (std::array<char, 4096> old{}; ::klogctl(9, nullptr, 0) > 0;) {
        ::klogctl(2, old.data(), static_cast<int>(old.size()));
    }
    EXPECT_EQ(Selected(*host, 13, 4), Reply({0, 0, 0, 0}))
        << "an empty log must not keep the host waiting";
    std::ofstream("/dev/kmsg") << "a line for the host" << std::endl;
    Selected(*host, 13, 4);
    EXPECT_THAT(Selected(*host, 14, 4).reply, testing::Optional(testing::SizeIs(4)))
        << "as much as the host has room for";
}

class FailedStartTest : public ControlTest {
    void BeforeBinding() override {
        ScopedSys sys;
        sys->Fork = [] { return FailWith(EAGAIN); };
        EXPECT_EQ(ErrorOf([&] { usb->BindGadgets(); }), EAGAIN);
    }
};

// The kernel accepts the descriptors again only after the first endpoint zero is closed.
TEST_F(FailedStartTest, DoesNotPreventTheNext) {
    EXPECT_EQ(host->In(63, 2), Reply(Word(8)));
}

// A host announces a request and then neither sends nor reads its data. The removal of the
// function, in TearDown(), is not held up either.
class AbandonedRequestTest : public ControlTest {
protected:
    void Disturb(std::uint8_t type, std::uint8_t request, std::uint16_t size) {
        const auto abandon = [&] {
            // The announcement arrives while the device is busy, so the host has cancelled the
            // request when the device takes or gives the data.
            gate.armed = true;
            EXPECT_EQ(host->Out(60, Word(1)), Outcome{});
            gate.entered.acquire();
            host->Abandon(type, request, size);
            gate.passed.release();
        };
        for (int round = 0; round < 3; ++round) {
            abandon();
            EXPECT_EQ(host->In(61, 2), Reply(Word(1))) << "the next request ends the wait";
            EXPECT_EQ(host->Out(60, Word(0)), Outcome{});

            abandon();
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            host->Reset();
            EXPECT_EQ(host->In(61, 2), Reply(Word(1))) << "a reset does";
            EXPECT_EQ(host->Out(60, Word(0)), Outcome{});

            abandon();
            host->Suspend(std::chrono::milliseconds(100));
            EXPECT_EQ(host->In(61, 2), Reply(Word(1))) << "the next request after a suspend does";
            EXPECT_EQ(host->Out(60, Word(0)), Outcome{});

            abandon();
            port.SetCable(false);
            port.SetCable(true);
            host.emplace();
            host->Open();
            EXPECT_EQ(host->In(61, 2), Reply(Word(1))) << "a disconnect does";
            EXPECT_EQ(host->Out(60, Word(0)), Outcome{});
        }
        EXPECT_EQ(host->In(88, 2), refusedIn) << "the range is what it was before";
        abandon();
    }
};

TEST_F(AbandonedRequestTest, HoldsUpNothingWhenItsDataAreNotSent) {
    Disturb(0x40, 86, 6);
}

TEST_F(AbandonedRequestTest, HoldsUpNothingWhenItsAnswerIsNotRead) {
    Disturb(0xc0, 61, 2);
}

} // namespace
} // namespace vantorel::test
