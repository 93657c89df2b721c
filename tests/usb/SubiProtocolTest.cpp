// What a host gets for its control requests.

#include "tests/support/PrivateRoot.h"
#include "tests/usb/SubiRows.h"
#include "vantorel/camera/Camera.h"

#include <gmock/gmock.h>

#include <limits>
#include <thread>

namespace vantorel {
namespace {

using test::Bytes;
using test::Factory;
using test::Outcome;
using test::Range;
using test::refusedIn;
using test::refusedOut;
using test::Reply;
using test::silence;
using test::Word;

constexpr std::uint32_t ok = test::statusOk;
constexpr std::uint32_t unchanged = test::statusUnchanged;
constexpr std::uint32_t unsupported = test::statusUnsupported;
constexpr std::uint32_t logFailed = 0x30000;

class SubiProtocolTest : public test::SubiTest {
protected:
    SubiProtocolTest() { kirocamera_sim_set_identity(&test::subiIdentity); }

    void Select(unsigned selector) { EXPECT_EQ(endpoint.Out(85, Word(selector)), silence); }
    Outcome Selected(unsigned selector, std::size_t length) {
        Select(selector);
        return endpoint.In(78, length);
    }
    /** Lets the next status show whether a request has left it alone. */
    void MarkStatus() { EXPECT_EQ(endpoint.Out(84, Word(3)), refusedOut); }
};

TEST_F(SubiProtocolTest, AnswersRequests) {
    BringUp();
    test::CheckRows(
        endpoint, [](const test::SubiRow& row) { return row.outcome; }, refusedOut);
    EXPECT_EQ(Wishes(), "stop ");
}

TEST_F(SubiProtocolTest, KeepsReadsWithinTheFactorySettings) {
    BringUp();
    const auto read = [&](std::size_t length) { return endpoint.In(88, length); };
    const auto range = [&](unsigned words, unsigned offset) {
        EXPECT_EQ(endpoint.Out(86, Range(words, offset)), silence);
    };
    range(0xffff, 0);
    EXPECT_EQ(read(5122), refusedIn);
    EXPECT_EQ(read(5120), Reply(Factory(0, 5120)));
    range(0xffff, 0xffff);
    EXPECT_EQ(read(2), refusedIn);
    EXPECT_EQ(read(0xffff), refusedIn);

    range(1, 0);
    EXPECT_EQ(endpoint.Out(86, 6, Word(2)), silence); // only the count arrives
    EXPECT_EQ(read(4), Reply(Factory(0, 4)));
    EXPECT_EQ(endpoint.Out(86, Bytes{1, 0, 5, 0, 1, 0}), refusedOut);
    EXPECT_EQ(read(2), Reply(Factory(10, 2))) << "refused, and set all the same";
}

TEST_F(SubiProtocolTest, PassesOnWhatTheHostWantsOfTheSession) {
    BringUp();
    const auto state = [&] { return endpoint.In(61, 2); };
    const auto set = [&](unsigned value) { EXPECT_EQ(endpoint.Out(60, Word(value)), silence); };
    set(1);
    EXPECT_EQ(Wishes(), "start ");
    set(1);
    set(2);
    EXPECT_EQ(Wishes(), "");
    EXPECT_EQ(state(), Reply(Word(2)));
    EXPECT_EQ(endpoint.Out(60, 2, Bytes{1}), silence);
    EXPECT_EQ(Wishes(), "start ") << "one byte is the low one";
    EXPECT_EQ(endpoint.Out(60, 2, std::nullopt), silence);
    EXPECT_EQ(Wishes(), "stop ") << "a host that sends nothing means 0";

    manager.OnConnectionStateChanged(ConnectionState::Battery, ConnectionState::Undetermined);
    EXPECT_EQ(state(), Reply(Word(1)));
    set(1);
    EXPECT_EQ(Wishes(), "");
    subi.OnCameraCaptureSessionStop(*std::make_unique<Camera>(kirocamera_sim_get_camera()));
    EXPECT_EQ(state(), Reply(Word(0)));

    EXPECT_EQ(endpoint.Out(84, Word(0)), silence);
    EXPECT_EQ(Wishes(), "stop ");
    EXPECT_EQ(endpoint.Out(84, 2, std::nullopt), refusedOut) << "nothing means 3";
    EXPECT_EQ(endpoint.Status(), unchanged);
    EXPECT_EQ(Wishes(), "");
    Select(0x1111);
    EXPECT_EQ(endpoint.Out(85, 2, std::nullopt), silence);
    EXPECT_EQ(endpoint.In(78, 2), silence) << "the selector stayed";
}

TEST_F(SubiProtocolTest, HandsTheKernelLogOutInTwoSteps) {
    int unread = 10;
    int result = 10;
    int reads = 0;
    endpoint.sys->Klogctl = [&](int action, char* buffer, int size) {
        if (action == 9) {
            return unread;
        }
        EXPECT_EQ(action, 2);
        EXPECT_EQ(size, 64);
        ++reads;
        std::memcpy(buffer, "<6>0123456", 10);
        return result < 0 ? test::FailWith(EPERM) : result;
    };
    BringUp();
    const Bytes text{'<', '6', '>', '0', '1', '2', '3', '4', '5', '6'};
    const auto fetch = [&] { return Selected(13, 4); };
    const auto take = [&](std::size_t length) { return Selected(14, length); };

    EXPECT_EQ(take(1), refusedIn);
    EXPECT_EQ(fetch(), Reply({10, 0, 0, 0}));
    EXPECT_EQ(take(11), refusedIn);
    EXPECT_EQ(endpoint.Status(), logFailed);
    EXPECT_EQ(take(4), Reply(text)) << "the whole count, whatever is asked for";
    EXPECT_EQ(take(1), refusedIn) << "given out once";

    fetch();
    result = -1;
    EXPECT_EQ(fetch(), refusedIn);
    EXPECT_EQ(endpoint.Status(), logFailed);
    EXPECT_EQ(take(1), refusedIn) << "an old text";
    result = 100; // not even from a confused kernel
    EXPECT_EQ(fetch(), Reply({64, 0, 0, 0}));
    unread = 0;
    reads = 0;
    EXPECT_EQ(fetch(), Reply({0, 0, 0, 0}));
    EXPECT_EQ(reads, 0) << "the read of an empty log waits for the next line";
    unread = -1;
    result = 3;
    EXPECT_EQ(fetch(), Reply({3, 0, 0, 0}));
}

TEST_F(SubiProtocolTest, SendsTheSpotTemperatureOfTheLastFrame) {
    BringUp();
    manager.OnConnectionStateChanged(ConnectionState::Battery, ConnectionState::Undetermined);
    const auto after = [&](float value) {
        kirocamera_sim_set_header(131, &value, sizeof value);
        EXPECT_EQ(sdk.Frame(), 0);
        return Selected(26, 2);
    };
    EXPECT_EQ(after(36.6F), Reply(Word(1171)));
    EXPECT_EQ(after(-10.0F), Reply(Word(0xfec0)));
    EXPECT_EQ(after(5000.0F), Reply(Word(0x7100)));
    EXPECT_EQ(after(std::numeric_limits<float>::quiet_NaN()), Reply(Word(0)));
    EXPECT_EQ(after(1e30F), Reply(Word(0)));
    EXPECT_EQ(after(-std::numeric_limits<float>::infinity()), Reply(Word(0)));
    EXPECT_EQ(after(2.0F), Reply(Word(64)));
    kirocamera_sim_set_result("kirocamera_frame_get_frame_by_format", -3);
    EXPECT_EQ(after(3.0F), Reply(Word(64))) << "a frame without a picture";
}

TEST_F(SubiProtocolTest, ForgetsTheCameraThatHasGone) {
    BringUp();
    endpoint.Out(86, Range(0xffff, 0));
    subi.OnCameraDisconnect(*std::make_unique<Camera>(kirocamera_sim_get_camera()));
    EXPECT_EQ(endpoint.In(54, 12), refusedIn);
    EXPECT_EQ(endpoint.Status(), unsupported);
    EXPECT_EQ(endpoint.In(93, 64), refusedIn);
    EXPECT_EQ(endpoint.Status(), unsupported);
    for (const auto& [selector, length] : {std::pair{19U, 2U}, {21U, 64U}, {23U, 66U}}) {
        EXPECT_EQ(Selected(selector, length), refusedIn);
        EXPECT_EQ(endpoint.Status(), unsupported);
    }
    MarkStatus();
    EXPECT_EQ(endpoint.In(88, 2), refusedIn);
    EXPECT_EQ(endpoint.Status(), unchanged);
    EXPECT_EQ(endpoint.In(63, 2), Reply(Word(8)));
}

// For the thread sanitizer above all: the camera's threads write what requests read.
TEST_F(SubiProtocolTest, AnswersWhileTheCameraIsAtWork) {
    BringUp();
    manager.OnConnectionStateChanged(ConnectionState::Battery, ConnectionState::Undetermined);
    Camera camera(kirocamera_sim_get_camera());
    const std::jthread frames([&](const std::stop_token& end) {
        while (!end.stop_requested()) {
            sdk.Frame();
        }
    });
    const std::jthread sessions([&](const std::stop_token& end) {
        while (!end.stop_requested()) {
            subi.OnCameraCaptureSessionStart(camera);
            subi.OnCameraCaptureSessionStop(camera);
        }
    });
    std::jthread leaves;
    std::size_t known = 0;
    for (int i = 0; i < 400; ++i) {
        if (i == 200) {
            leaves = std::jthread([&] { subi.OnCameraDisconnect(camera); });
        }
        EXPECT_TRUE(Selected(26, 2).reply);
        EXPECT_TRUE(endpoint.In(61, 2).reply);
        EXPECT_EQ(endpoint.Out(60, Word(2)), silence);
        known += Selected(23, 66).reply.has_value();
    }
    leaves.join();
    EXPECT_GE(known, 200U);
    EXPECT_EQ(Selected(23, 66), refusedIn);
}

TEST_F(SubiProtocolTest, LeavesEventsAloneThatAreNoRequests) {
    BringUp();
    Bytes event = test::FakeEndpoint::Setup(0xc1, 63, 2);
    for (const std::uint8_t type : Bytes{0, 1, 2, 3, 5, 6, 255}) {
        event[8] = type;
        EXPECT_EQ(endpoint.Send(event), silence) << int{type};
    }
    event[8] = 4;
    event.pop_back();
    EXPECT_EQ(endpoint.Send(event), silence) << "not a whole event";
    endpoint.readError = EL2HLT;
    EXPECT_EQ(endpoint.In(63, 2), silence);
    EXPECT_EQ(output.Take(), "SUBI: ep0 read failed errno: 51\n");
    EXPECT_EQ(endpoint.In(63, 2), Reply(Word(8)));
}

class SubiChipIdTest : public test::SubiTest,
                       public testing::WithParamInterface<std::pair<const char*, Outcome>> {};

TEST_P(SubiChipIdTest, GoesOutAsSixNumbers) {
    kirocamera_sim_identity_t identity{};
    std::strncpy(identity.chip_id, GetParam().first, sizeof identity.chip_id - 1);
    kirocamera_sim_set_identity(&identity);
    BringUp();
    EXPECT_EQ(endpoint.In(54, 12), GetParam().second);
    EXPECT_EQ(endpoint.Status(), GetParam().second == refusedIn ? unsupported : ok);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, SubiChipIdTest,
    testing::Values(std::pair("0123456789abcde", Reply({0xab, 0, 0x89, 0, 0x67, 0, 0x45, 0, 0x23, //
                                                        0, 1, 0})),
                    std::pair("1G23456789AB", Reply({0xab, 0, 0x89, 0, 0x67, 0, 0x45, 0, 0x23, //
                                                     0, 1, 0})),
                    std::pair("0123456789A", refusedIn), std::pair("", refusedIn),
                    std::pair("01234567ZZAB", refusedIn)),
    [](const auto& text) { return std::to_string(text.index); });

TEST_F(SubiProtocolTest, SendsTheVersionOfTheDevice) {
    VANTOREL_NEED_PRIVATE_MOUNTS();
    test::CoverWithTmpfs("/etc");
    test::WriteFile("/etc/kiro/revision", "REV-6\n");
    test::WriteFile("/etc/kiro/version", "300.5.0\n");
    BringUp();
    const Outcome outcome = Selected(0, 36);
    ASSERT_TRUE(outcome.reply);
    ASSERT_EQ(outcome.reply->size(), 36U);
    const std::string record(outcome.reply->begin(), outcome.reply->end());
    EXPECT_EQ(record.substr(0, 4), "\x20\x1b\x2c\x05");
    EXPECT_THAT(record.substr(4, 11),
                testing::MatchesRegex("[A-Z][a-z][a-z] [ 0-9][0-9] 20[0-9][0-9]"));
    EXPECT_EQ(record.substr(15, 5), std::string(5, '\0'));
    EXPECT_THAT(record.substr(20, 8), testing::MatchesRegex("[0-9][0-9]:[0-9][0-9]:[0-9][0-9]"));
    EXPECT_EQ(record.substr(28), std::string(8, '\0'));
    EXPECT_EQ(endpoint.Status(), ok);
}

} // namespace
} // namespace vantorel
