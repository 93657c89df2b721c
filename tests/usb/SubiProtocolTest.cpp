// How the vendor function comes up, what a host gets for its control requests, and how it goes
// down.

#include "tests/support/PrivateRoot.h"
#include "tests/usb/SubiTest.h"
#include "vantorel/camera/Camera.h"
#include "vantorel/service/Error.h"

#include <gmock/gmock.h>

#include <future>
#include <limits>
#include <thread>

namespace vantorel::test {
namespace {

using testing::ElementsAre;

using SubiSetupTest = SubiTest;
using SubiProtocolTest = SubiTest;

const std::string function = "/config/usb_gadget/g0/functions/ffs.subi.usb0";

// The kernel links a function only after its descriptors, and unmounts it only when it is closed.
TEST_F(SubiSetupTest, ComesUpAndGoesDownInOrder) {
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
}

TEST_F(SubiSetupTest, StaysDownWithoutEndpointZero) {
    sdk.Connect();
    for (const char* step : {"open", "descriptors", "strings"}) {
        endpoint.failingStep = step;
        subi.OnAdd();
        EXPECT_NE(endpoint.steps.back(), "link") << step;
        endpoint.written.clear();
    }
    endpoint.failingStep.clear();
    subi.OnAdd(); // none of them has used anything up
    up = true;
    endpoint.failingStep = "open";
    subi.OnAdd();
    EXPECT_EQ(endpoint.In(63, 2), Reply(Word(8))) << "a second start has harmed the first";
}

TEST_F(SubiSetupTest, WaitsForTheFirstCameraAndServesNoOther) {
    auto added = std::async(std::launch::async, [&] { subi.OnAdd(); });
    EXPECT_EQ(added.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    for (const char* query : {"kirocamera_get_roic_id", "kirocamera_get_chipid"}) {
        kirocamera_sim_set_result(query, -2);
    }
    sdk.Connect();
    added.get();
    up = true;
    EXPECT_EQ(Selected(endpoint, 19, 2), Reply(Word(0))) << "a query that failed";
    EXPECT_EQ(endpoint.In(54, 12), refusedIn);
    EXPECT_TRUE(endpoint.In(93, 64).reply);
    Camera second(kirocamera_sim_get_camera());
    EXPECT_THAT([&] { subi.OnCameraConnect(second); },
                testing::Throws<std::future_error>(testing::Property(
                    &std::future_error::code, std::future_errc::promise_already_satisfied)));
}

TEST_F(SubiProtocolTest, AnswersRequests) {
    BringUp();
    CheckRows(endpoint, [](const SubiRow& row) { return row.outcome; });
    EXPECT_EQ(wishes.Take(), subiRowsWishes);
}

TEST_F(SubiProtocolTest, MakesDoWithTheDataThatArrives) {
    BringUp();
    EXPECT_EQ(endpoint.Out(60, 2, Bytes{1}), silence);
    EXPECT_EQ(wishes.Take(), "start ");
    EXPECT_EQ(endpoint.Out(60, 2, std::nullopt), silence);
    EXPECT_EQ(wishes.Take(), "stop ") << "nothing means 0";
    EXPECT_EQ(endpoint.Out(84, 2, std::nullopt), refusedOut) << "nothing means 3";
    EXPECT_EQ(Selected(endpoint, 0x1111, 2), silence);
    EXPECT_EQ(endpoint.Out(85, 2, std::nullopt), silence);
    EXPECT_EQ(endpoint.In(78, 2), silence) << "the selector stays";
}

TEST_F(SubiProtocolTest, FollowsTheSessionOfTheCamera) {
    BringUp();
    manager.OnConnectionStateChanged(ConnectionState::Battery, ConnectionState::Undetermined);
    EXPECT_EQ(endpoint.Out(60, Word(1)), silence);
    EXPECT_EQ(wishes.Take(), "") << "it runs already";
    subi.OnCameraCaptureSessionStop(*std::make_unique<Camera>(kirocamera_sim_get_camera()));
    EXPECT_EQ(endpoint.In(61, 2), Reply(Word(0)));
}

TEST_F(SubiProtocolTest, HandsTheKernelLogOutInTwoSteps) {
    const std::string text = "<6>0123456";
    int unread = 0;
    int result = 0;
    endpoint.sys->Klogctl = [&](int action, char* buffer, int size) {
        if (action == 9) {
            return unread;
        }
        EXPECT_EQ(action, 2);
        EXPECT_EQ(size, 64);
        EXPECT_NE(unread, 0) << "the read of an empty log waits for the next line";
        std::ranges::copy(text, buffer);
        return result < 0 ? FailWith(EPERM) : result;
    };
    BringUp();
    const auto take = [&](std::size_t length) { return Selected(endpoint, 14, length); };
    const auto fetch = [&](int unreadBytes, int readBytes) {
        unread = unreadBytes;
        result = readBytes;
        return Selected(endpoint, 13, 4);
    };
    EXPECT_EQ(take(1), refusedIn);
    EXPECT_EQ(fetch(10, 10), Reply({10, 0, 0, 0}));
    EXPECT_EQ(take(11), refusedIn);
    EXPECT_EQ(Status(endpoint), logFailed);
    EXPECT_EQ(take(4), Reply({text.begin(), text.end()})) << "all of it, whatever is asked for";
    EXPECT_EQ(take(1), refusedIn) << "given out once";
    fetch(10, 10);
    EXPECT_EQ(fetch(10, -1), refusedIn);
    EXPECT_EQ(Status(endpoint), logFailed);
    EXPECT_EQ(take(1), refusedIn) << "an old text";
    EXPECT_EQ(fetch(10, 100), Reply({64, 0, 0, 0})) << "not even from a confused kernel";
    EXPECT_EQ(fetch(0, 100), Reply({0, 0, 0, 0}));
    EXPECT_EQ(fetch(-1, 3), Reply({3, 0, 0, 0}));
    EXPECT_EQ(take(3), Reply({'<', '6', '>'}));
}

TEST_F(SubiProtocolTest, SendsTheSpotTemperatureOfTheLastFrame) {
    BringUp();
    manager.OnConnectionStateChanged(ConnectionState::Battery, ConnectionState::Undetermined);
    const auto check = [&](float value, unsigned sent) {
        kirocamera_sim_set_header(131, &value, sizeof value);
        EXPECT_EQ(sdk.Frame(), 0);
        EXPECT_EQ(Selected(endpoint, 26, 2), Reply(Word(sent))) << value;
    };
    check(36.61F, 1172);
    check(-10.0F, 0xfec0);
    check(5000.0F, 0x7100);
    check(std::numeric_limits<float>::quiet_NaN(), 0);
    check(1e30F, 0);
    check(-std::numeric_limits<float>::infinity(), 0);
    check(2.0F, 64);
    kirocamera_sim_set_result("kirocamera_frame_get_frame_by_format", -3);
    check(3.0F, 64); // a frame without a picture
}

TEST_F(SubiProtocolTest, ForgetsTheCameraThatHasGone) {
    BringUp();
    endpoint.Out(86, Range(0xffff, 0));
    subi.OnCameraDisconnect(*std::make_unique<Camera>(kirocamera_sim_get_camera()));
    EXPECT_EQ(endpoint.In(88, 2), refusedIn);
    EXPECT_EQ(Status(endpoint), ok);
    const auto check = [&](const Outcome& outcome) {
        EXPECT_EQ(outcome, refusedIn);
        EXPECT_EQ(Status(endpoint), unsupported);
    };
    check(endpoint.In(54, 12));
    check(endpoint.In(93, 64));
    check(Selected(endpoint, 19, 2));
    check(Selected(endpoint, 21, 64));
    check(Selected(endpoint, 23, 66));
}

// For the thread sanitizer above all: the camera's threads write what requests read.
TEST_F(SubiProtocolTest, AnswersWhileTheCameraIsAtWork) {
    BringUp();
    manager.OnConnectionStateChanged(ConnectionState::Battery, ConnectionState::Undetermined);
    Camera camera(kirocamera_sim_get_camera());
    const std::jthread atWork([&](const std::stop_token& end) {
        for (int frames = 0; !end.stop_requested(); ++frames) {
            sdk.Frame();
            subi.OnCameraCaptureSessionStart(camera);
            subi.OnCameraCaptureSessionStop(camera);
            if (frames == 100) {
                subi.OnCameraDisconnect(camera);
            }
        }
    });
    for (int requests = 0; Selected(endpoint, 23, 66).reply; ++requests) {
        ASSERT_LT(requests, 100'000) << "the camera has not been forgotten";
        EXPECT_TRUE(Selected(endpoint, 26, 2).reply);
        EXPECT_TRUE(endpoint.In(61, 2).reply);
        EXPECT_EQ(endpoint.Out(60, Word(2)), silence);
    }
}

TEST_F(SubiProtocolTest, LeavesAloneWhatIsNoRequest) {
    BringUp();
    Bytes event = FakeEndpoint::Setup(0xc1, 63, 2);
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
}

TEST(SubiChipIdTest, GoesOutAsSixNumbers) {
    const Outcome numbers = Reply({0xab, 0, 0x89, 0, 0x67, 0, 0x45, 0, 0x23, 0, 1, 0});
    for (const auto& [text, outcome] : {std::pair("0123456789abcde", numbers),
                                        {"1G23456789AB", numbers}, // up to what is no digit
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
