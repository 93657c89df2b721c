// What a host gets for its control requests.

#include "tests/support/PrivateRoot.h"
#include "tests/usb/SubiTest.h"
#include "vantorel/camera/Camera.h"

#include <gmock/gmock.h>

#include <limits>

namespace vantorel {
namespace {

using test::Bytes;
using test::Outcome;
using test::refusedIn;
using test::refusedOut;
using test::Reply;
using test::silence;
using test::Word;

constexpr std::uint32_t ok = 0;
constexpr std::uint32_t unchanged = 0x30300; // set before every request of the table
constexpr std::uint32_t unsupported = 0x50000;
constexpr std::uint32_t logFailed = 0x30000;

Bytes Factory(std::size_t begin, std::size_t size) {
    Bytes bytes;
    for (std::size_t i = begin; i < begin + size; ++i) {
        bytes.push_back(KIROCAMERA_SIM_FACTORY_BYTE(i));
    }
    return bytes;
}

class SubiProtocolTest : public test::SubiTest {
protected:
    SubiProtocolTest() {
        const kirocamera_sim_identity_t identity{0x1234, "0123456789AB", "KC-7", {{2, 5, 1, 38}}};
        kirocamera_sim_set_identity(&identity);
    }

    void Select(unsigned selector) { EXPECT_EQ(endpoint.Out(85, Word(selector)), silence); }
    Outcome Selected(unsigned selector, std::size_t length) {
        Select(selector);
        return endpoint.In(78, length);
    }
    /** Lets the next status show whether a request has left it alone. */
    void MarkStatus() { EXPECT_EQ(endpoint.Out(84, Word(3)), refusedOut); }

    void Range(unsigned words, unsigned offset) {
        const Bytes count = Word(words);
        const Bytes begin = Word(offset);
        EXPECT_EQ(endpoint.Out(86, Bytes{count[0], count[1], begin[0], begin[1], 0, 0}), silence);
    }
};

struct Row {
    int selector; // -1: none
    std::uint8_t request;
    std::size_t length;
    std::optional<Bytes> data; // from the host
    Outcome outcome;
    std::uint32_t status;
};

TEST_F(SubiProtocolTest, AnswersRequests) {
    BringUp();
    Bytes identity(66);
    std::memcpy(&identity[0], "0123456789AB", 12);
    std::memcpy(&identity[16], "KC-7", 4);
    identity[32] = 0x34;
    identity[33] = 0x12;
    identity[34] = 27;
    const Row rows[] = {
        {-1, 52, 2, {}, refusedIn, unsupported},
        {-1, 52, 2, Word(1), refusedOut, unsupported},
        {-1, 53, 4, {}, Reply({0, 3, 3, 0}), ok},
        {-1, 53, 2, {}, refusedIn, unchanged},
        {-1, 54, 12, {}, Reply({0xab, 0, 0x89, 0, 0x67, 0, 0x45, 0, 0x23, 0, 1, 0}), ok},
        {-1, 54, 11, {}, refusedIn, unchanged},
        {-1, 55, 2, {}, refusedIn, unsupported},
        {-1, 60, 4, Bytes(4), refusedOut, unchanged},
        {-1, 60, 2, Word(0), silence, ok},
        {-1, 61, 2, {}, Reply(Word(0)), ok},
        {-1, 61, 4, {}, refusedIn, unchanged},
        {-1, 62, 2, Word(7), silence, ok},
        {-1, 62, 3, Bytes(3), refusedOut, unchanged},
        {-1, 63, 2, {}, Reply(Word(8)), ok},
        {-1, 84, 2, Word(2), silence, unchanged},
        {-1, 84, 1, Bytes(1), refusedOut, unchanged},
        {-1, 85, 2, Word(17), silence, ok},
        {-1, 85, 4, Bytes(4), refusedOut, unchanged},
        {-1, 86, 6, Bytes(6), silence, unchanged},
        {-1, 86, 6, Bytes{0, 0, 0, 0, 0, 1}, refusedOut, unchanged},
        {-1, 86, 8, Bytes(8), refusedOut, unchanged},
        {-1, 88, 2, {}, refusedIn, unchanged},
        {-1, 89, 2, Word(7), silence, ok},
        {-1, 90, 2, Word(7), silence, ok},
        {-1, 91, 2, Word(7), silence, ok},
        {-1, 91, 0, Bytes{}, refusedOut, unchanged},
        {-1, 92, 2, {}, refusedIn, unsupported},
        {-1, 93, 64, {}, Reply(Factory(4884, 64)), ok},
        {-1, 93, 63, {}, refusedIn, unchanged},
        {-1, 94, 2, {}, refusedIn, unsupported},
        {0, 78, 35, {}, refusedIn, unchanged},
        {13, 78, 2, {}, refusedIn, unchanged},
        {17, 78, 2, {}, Reply(Word(2)), ok},
        {17, 78, 3, {}, refusedIn, unchanged},
        {18, 78, 2, {}, Reply({0, 2}), ok},
        {19, 78, 2, {}, Reply({0x34, 0x12}), ok},
        {21, 78, 64, {}, Reply(Factory(4884, 64)), ok},
        {23, 78, 66, {}, Reply(identity), ok},
        {23, 78, 64, {}, refusedIn, unchanged},
        {26, 78, 2, {}, Reply(Word(0)), ok},
        {28, 78, 2, {}, silence, unchanged},
        {0xffff, 78, 36, {}, silence, unchanged},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << "request " << int{row.request} << ", selector "
                                        << row.selector << ", length " << row.length);
        if (row.selector >= 0) {
            Select(static_cast<unsigned>(row.selector));
        }
        MarkStatus();
        EXPECT_EQ(row.data ? endpoint.Out(row.request, row.length, row.data)
                           : endpoint.In(row.request, row.length),
                  row.outcome);
        EXPECT_EQ(endpoint.Status(), row.status);
        EXPECT_EQ(endpoint.Status(), ok) << "reading the status clears it";
    }
    EXPECT_EQ(Wishes(), "stop ");
}

TEST_F(SubiProtocolTest, RefusesSelectorsWithoutAMeaning) {
    BringUp();
    for (const unsigned selector :
         {1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 9U, 10U, 11U, 12U, 15U, 16U, 20U, 22U, 24U, 25U, 27U}) {
        EXPECT_EQ(Selected(selector, 2), refusedIn) << selector;
        EXPECT_EQ(endpoint.Status(), unsupported) << selector;
    }
}

TEST_F(SubiProtocolTest, ReadsTheFactorySettingsInPieces) {
    BringUp();
    const auto read = [&](std::size_t length) { return endpoint.In(88, length); };
    Range(32, 0);
    EXPECT_EQ(read(32), Reply(Factory(0, 32)));
    EXPECT_EQ(read(32), Reply(Factory(32, 32)));
    EXPECT_EQ(read(32), refusedIn) << "nothing remains";
    EXPECT_EQ(read(1), Reply(Factory(64, 1))) << "half a word counts as none";

    Range(2, 0);
    EXPECT_EQ(read(3), Reply(Factory(0, 3)));
    EXPECT_EQ(read(2), Reply(Factory(2, 2)));

    Range(0xffff, 2559);
    EXPECT_EQ(read(3), refusedIn) << "one byte behind the settings";
    EXPECT_EQ(read(2), Reply(Factory(5118, 2))) << "the refusal has used nothing up";
    EXPECT_EQ(read(2), refusedIn);
    Range(0xffff, 0);
    EXPECT_EQ(read(5122), refusedIn);
    EXPECT_EQ(read(5120), Reply(Factory(0, 5120)));
    Range(0xffff, 0xffff);
    EXPECT_EQ(read(2), refusedIn);
    EXPECT_EQ(read(0xffff), refusedIn);

    Range(1, 0);
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
    Range(0xffff, 0);
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
