// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// The vendor function's setup, its replies to control requests, and its removal.

#include "vantorel/usb/private/SubiProtocol.h"
#include "tests/support/ErrorOf.h"
#include "tests/support/PrivateRoot.h"
#include "tests/usb/SubiTest.h"
#include "vantorel/camera/Camera.h"
#include "vantorel/service/Error.h"

#include <gmock/gmock.h>

#include <functional>
#include <future>
#include <limits>

namespace vantorel::test {
namespace {

using testing::ElementsAre;

using SubiSetupTest = SubiTest;
using SubiProtocolTest = SubiTest;

/** Matches an action that throws this std::future_error. */
auto Fails(std::future_errc code) {
    return testing::Throws<std::future_error>(
        testing::Property(&std::future_error::code, std::make_error_code(code)));
}

const std::string function = "/config/usb_gadget/g0/functions/ffs.subi.usb0";

// The kernel links a function only after its descriptors are written, and unmounts it only after
// its endpoint is closed.
TEST_F(SubiSetupTest, StartsAndStopsInOrder) {
    BringUp();
    EXPECT_THAT(endpoint.steps,
                ElementsAre("mkdir " + function, "mkdir /dev/subi",
                            "mount functionfs subi.usb0 /dev/subi", "open /dev/subi/ep0",
                            "descriptors", "strings", "link"));
    const Bytes descriptors = {3, 0, 0, 0, 52, 0,    0, 0, 0x43, 0, 0, 0,    2, 0,    0, 0,
                               2, 0, 0, 0,                                                  //
                               9, 4, 0, 0, 1,  0xff, 0, 0, 1,    7, 5, 0x81, 2, 0x40, 0, 1, //
                               9, 4, 0, 0, 1,  0xff, 0, 0, 1,    7, 5, 0x81, 2, 0,    2, 1};
    const std::string text("\2\0\0\0\50\0\0\0\1\0\0\0\1\0\0\0\x9\4TCM300 Thermal Camera\0", 40);
    EXPECT_THAT(endpoint.written, ElementsAre(descriptors, Bytes(text.begin(), text.end())));

    endpoint.steps.clear();
    subi.OnRemove(); // while the worker waits for a request
    up = false;
    EXPECT_THAT(endpoint.steps,
                ElementsAre("close ep0", "unlink /config/usb_gadget/g0/configs/g0.1/ffs.subi.usb0",
                            "umount /dev/subi", "rmdir " + function));
    endpoint.written.clear();
    EXPECT_THAT([&] { subi.OnAdd(); }, Fails(std::future_errc::future_already_retrieved))
        << "it came up twice";
}

TEST_F(SubiSetupTest, IsNotLinkedWithoutEndpointZero) {
    sdk.Connect();
    for (const char* step : {"open", "descriptors", "strings"}) {
        endpoint.failingStep = step;
        subi.OnAdd();
        EXPECT_NE(endpoint.steps.back(), "link") << step;
        endpoint.written.clear();
    }
    endpoint.failingStep = "link";
    EXPECT_EQ(ErrorOf([&] { subi.OnAdd(); }), EPERM);
    EXPECT_EQ(endpoint.steps.back(), "close ep0") << "the kernel refuses the next descriptors";
    endpoint.written.clear();
    endpoint.failingStep.clear();
    subi.OnAdd(); // the failed starts left nothing behind
    up = true;
    endpoint.failingStep = "open";
    subi.OnAdd();
    EXPECT_EQ(endpoint.In(63, 2), Reply(Word(8))) << "the second start disturbed the first";
}

TEST_F(SubiSetupTest, WaitsForTheFirstCameraAndRejectsAnother) {
    auto added = std::async(std::launch::async, [&] { subi.OnAdd(); });
    EXPECT_EQ(added.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    for (const char* query : {"kirocamera_get_roic_id", "kirocamera_get_chipid"}) {
        kirocamera_sim_set_result(query, -2);
    }
    sdk.Connect();
    added.get();
    up = true;
    EXPECT_EQ(Selected(endpoint, 19, 2), Reply(Word(0))) << "the query of the camera failed";
    EXPECT_EQ(endpoint.In(54, 12), refusedIn);
    EXPECT_TRUE(endpoint.In(93, 64).reply);
    Camera second(kirocamera_sim_get_camera());
    EXPECT_THAT([&] { subi.OnCameraConnect(second); },
                Fails(std::future_errc::promise_already_satisfied));
}

TEST_F(SubiProtocolTest, AnswersRequests) {
    BringUp();
    CheckRows(endpoint, [](const SubiRow& row) { return row.outcome; });
    EXPECT_EQ(wishes.Take(), subiRowsWishes);
}

TEST_F(SubiProtocolTest, AcceptsShortAndMissingData) {
    BringUp();
    EXPECT_EQ(endpoint.Out(60, 2, Bytes{1}), silence);
    EXPECT_EQ(wishes.Take(), "start ");
    EXPECT_EQ(endpoint.Out(60, 2, std::nullopt), silence);
    EXPECT_EQ(wishes.Take(), "stop ") << "no data means 0";
    EXPECT_EQ(endpoint.Out(84, 2, std::nullopt), refusedOut) << "no data means 3";
    EXPECT_EQ(Selected(endpoint, 0x1111, 2), silence);
    EXPECT_EQ(endpoint.Out(85, 2, std::nullopt), silence);
    EXPECT_EQ(endpoint.In(78, 2), silence) << "the selector must not change";
    EXPECT_EQ(endpoint.Send({}), silence);
    EXPECT_EQ(output.Take(), "SUBI: ep0 read failed errno: 43\n");
}

TEST_F(SubiProtocolTest, AnswersEveryRecipientAndDirection) {
    BringUp();
    for (std::uint8_t recipient = 0; recipient < 4; ++recipient) {
        const auto in = static_cast<std::uint8_t>(0xc0 | recipient);
        const auto out = static_cast<std::uint8_t>(0x40 | recipient);
        EXPECT_EQ(endpoint.Send(SetupPacket(in, 63, 2)), Reply(Word(8))) << int{in};
        const auto ofClass = static_cast<std::uint8_t>(0xa0 | recipient);
        EXPECT_EQ(endpoint.Send(SetupPacket(ofClass, 63, 2)), Reply(Word(8))) << int{ofClass};
        EXPECT_EQ(endpoint.Send(SetupPacket(out, 84, 2), Word(3)), refusedOut) << int{out};
        EXPECT_EQ(endpoint.Send(SetupPacket(in, 53, 4)), marked) << int{in};
    }
    endpoint.Out(84, Word(3));
    EXPECT_EQ(endpoint.Out(53, Bytes(4)), marked) << "the kernel turns this reply into a stall";
    EXPECT_EQ(Status(endpoint), ok) << "the status was kept after it was sent";
    EXPECT_EQ(endpoint.In(60, 1), refusedIn);
    EXPECT_EQ(endpoint.In(84, 2), refusedIn) << "no data means 3";
    for (const std::uint8_t type : Bytes{0, 1, 2, 3, 5, 6}) {
        Bytes event = SetupPacket(0xc0, 63, 2);
        event[8] = type;
        EXPECT_EQ(endpoint.Send(event), silence) << "event " << int{type} << " is not a request";
    }
}

// A read consumes the kernel's log: no piece may be lost or returned twice.
TEST_F(SubiProtocolTest, SendsTheKernelsLogInPieces) {
    BringUp();
    const Outcome failed = Reply({0, 0, 3, 0});
    std::string log(100, 'x');
    log += "end\n";
    endpoint.sys->Klogctl = [&](int action, char* buffer, int size) {
        if (action != 2) {
            return static_cast<int>(log.size());
        }
        EXPECT_FALSE(log.empty()) << "the read would wait for the kernel's next line";
        const std::size_t count = log.copy(buffer, static_cast<std::size_t>(size));
        log.erase(0, count);
        return static_cast<int>(count);
    };
    const auto request = [&](unsigned selector, std::size_t length, const Outcome& outcome,
                             const Outcome& status) {
        endpoint.Out(85, Word(selector));
        endpoint.Out(84, Word(3));
        EXPECT_EQ(endpoint.In(78, length), outcome) << "selector " << selector << ", " << length;
        EXPECT_EQ(Status(endpoint), status) << "selector " << selector << ", " << length;
    };
    request(14, 1, refusedIn, failed);
    request(13, 4, Reply({64, 0, 0, 0}), ok);
    request(14, 65, refusedIn, failed);
    request(14, 64, Reply(Bytes(64, 'x')), ok);
    request(14, 1, refusedIn, failed);
    request(13, 4, Reply({40, 0, 0, 0}), ok);
    Bytes rest(36, 'x');
    std::ranges::copy(std::string_view("end\n"), std::back_inserter(rest));
    request(14, 2, Reply(rest), ok); // the kernel truncates the reply
    request(13, 4, Reply({0, 0, 0, 0}), ok);
    log = "lost";
    request(13, 4, Reply({4, 0, 0, 0}), ok);
    endpoint.sys->Klogctl = [](auto...) { return FailWith(EPERM); };
    request(13, 4, refusedIn, failed);
    request(14, 4, refusedIn, failed);
}

TEST_F(SubiProtocolTest, FollowsTheSessionAndTheFramesOfTheCamera) {
    BringUp();
    manager.OnConnectionStateChanged(ConnectionState::Battery, ConnectionState::Undetermined);
    EXPECT_EQ(endpoint.Out(60, Word(1)), silence);
    EXPECT_EQ(wishes.Take(), "") << "the session already runs";
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const std::pair<float, unsigned> rows[] = {{36.61F, 1172}, {-10.0F, 0xfec0}, {5000.0F, 0x7100},
                                               {NAN, 0},       {1e30F, 0},       {-infinity, 0},
                                               {2.0F, 64}};
    for (const auto& [value, sent] : rows) {
        kirocamera_sim_set_header(131, &value, sizeof value);
        EXPECT_EQ(sdk.Frame(), 0);
        EXPECT_EQ(Selected(endpoint, 26, 2), Reply(Word(sent))) << value;
    }
    kirocamera_sim_set_result("kirocamera_frame_get_frame_by_format", -3);
    sdk.Frame(); // without an image
    EXPECT_EQ(Selected(endpoint, 26, 2), Reply(Word(64)));
    subi.OnCameraCaptureSessionStop(*std::make_unique<Camera>(kirocamera_sim_get_camera()));
    EXPECT_EQ(endpoint.In(61, 2), Reply(Word(0)));
}

TEST_F(SubiProtocolTest, ForgetsADisconnectedCamera) {
    BringUp();
    endpoint.Out(86, Range(0xffff, 0));
    subi.OnCameraDisconnect(*std::make_unique<Camera>(kirocamera_sim_get_camera()));
    endpoint.Out(84, Word(3));
    EXPECT_EQ(endpoint.In(88, 2), refusedIn);
    EXPECT_EQ(Status(endpoint), marked);
    for (const auto& [selector, length] : {std::pair(19U, 2U), {21, 64}, {23, 66}}) {
        EXPECT_EQ(Selected(endpoint, selector, length), refusedIn);
        EXPECT_EQ(Status(endpoint), unsupported);
    }
    EXPECT_EQ(endpoint.In(54, 12), refusedIn);
    EXPECT_EQ(Status(endpoint), unsupported);
    EXPECT_EQ(endpoint.In(93, 64), refusedIn);
    EXPECT_EQ(Status(endpoint), unsupported);
}

TEST(SubiChipIdTest, IsSentAsSixNumbers) {
    const Outcome numbers = Reply({0xab, 0, 0x89, 0, 0x67, 0, 0x45, 0, 0x23, 0, 1, 0});
    for (const auto& [text, outcome] : {std::pair("0123456789abcde", numbers),
                                        {"1G23456789AB", numbers}, // up to the first non-digit
                                        {"0123456789A", refusedIn},
                                        {"01234567ZZAB", refusedIn}}) {
        kirocamera_sim_identity_t identity{};
        std::strncpy(identity.chip_id, text, sizeof identity.chip_id - 1);
        SubiDevice device(identity);
        device.BringUp();
        EXPECT_EQ(device.endpoint.In(54, 12), outcome) << text;
        EXPECT_EQ(Status(device.endpoint), outcome == numbers ? ok : unsupported);
    }
}

/** An endpoint with one event and no data, without a function. */
struct OneEvent final : SubiEndpoint {
    explicit OneEvent(Bytes toRead) : event(std::move(toRead)) {}
    ssize_t Read(void* data, std::size_t size) override {
        calls += "read " + std::to_string(size) + " ";
        const Bytes bytes = std::exchange(event, {});
        std::copy_n(bytes.begin(), std::min(size, bytes.size()), static_cast<std::uint8_t*>(data));
        return static_cast<ssize_t>(std::min(size, bytes.size()));
    }
    ssize_t Write(const void*, std::size_t size) override {
        calls += "write " + std::to_string(size) + " ";
        return static_cast<ssize_t>(size);
    }
    void RequestSessionStart() override { calls += "start "; }
    void RequestSessionStop() override {
        calls += "stop ";
        duringStop();
    }

    Bytes event;
    std::string calls;
    std::function<void()> duringStop = [] {};
};

TEST(SubiEventTest, HandlesCompleteEventsAndRefusesTheSettingsTailDependingOnTheState) {
    SubiState state;
    const auto serve = [&](Bytes event) {
        OneEvent endpoint(std::move(event));
        SubiProtocol(endpoint, state, std::make_shared<const SubiIdentity>(), 0).ServeEvent();
        return endpoint.calls;
    };
    const Bytes tail = SetupPacket(0xc1, 93, 64);
    EXPECT_EQ(serve(tail), "read 12 write 64 ");
    EXPECT_EQ(serve(Bytes(tail.begin(), tail.end() - 1)), "read 12 ") << "a part of an event";
    state.factoryTailRefused = 1;
    EXPECT_EQ(serve(tail), "read 12 read 0 ");
    EXPECT_EQ(state.status, 0x50000U);
}

TEST(SubiEventTest, KeepsTheStateOfASessionThatStartsDuringAStop) {
    SubiState state;
    state.captureSession = 1;
    OneEvent endpoint(SetupPacket(0x41, 60, 2));
    endpoint.duringStop = [&] {
        state.captureSession = 0;
        state.captureSession = 1; // by another thread
    };
    SubiProtocol(endpoint, state, nullptr, 0).ServeEvent();
    EXPECT_EQ(endpoint.calls, "read 12 read 2 stop ") << "no data means 0";
    EXPECT_EQ(state.captureSession, 1) << "the host reads that no session runs";
}

TEST_F(SubiProtocolTest, SendsTheVersionOfTheDevice) {
    VANTOREL_NEED_PRIVATE_MOUNTS();
    CoverWithTmpfs("/etc");
    WriteFile("/etc/kiro/revision", "REV-6\n");
    WriteFile("/etc/kiro/version", "300.5.0\n");
    BringUp();
    const Outcome outcome = Selected(endpoint, 0, 36);
    std::string record(outcome.reply->begin(), outcome.reply->end());
    std::ranges::replace(record, '\0', '~');
    EXPECT_THAT(record, testing::MatchesRegex("\x20\x1b\x2c\x05"
                                              "[A-Z][a-z][a-z] [ 0-9][0-9] 20[0-9][0-9]~~~~~"
                                              "[0-9][0-9]:[0-9][0-9]:[0-9][0-9]~~~~~~~~"));
    EXPECT_EQ(Status(endpoint), ok);
}

} // namespace
} // namespace vantorel::test
