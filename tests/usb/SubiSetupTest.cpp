// How the vendor function comes up and goes down.

#include "tests/usb/SubiTest.h"
#include "vantorel/camera/Camera.h"
#include "vantorel/service/Error.h"

#include <gmock/gmock.h>

#include <array>
#include <csignal>
#include <future>
#include <thread>

namespace vantorel {
namespace {

using test::Bytes;
using test::Reply;
using test::Word;
using testing::ElementsAre;

using SubiSetupTest = test::SubiTest;

const std::string function = "/config/usb_gadget/g0/functions/ffs.subi.usb0";

TEST_F(SubiSetupTest, DescribesItselfBeforeItIsLinked) {
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
}

TEST_F(SubiSetupTest, GoesDownInOrder) {
    BringUp();
    endpoint.steps.clear();
    subi.OnRemove(); // while the worker waits for a request
    up = false;
    EXPECT_THAT(endpoint.steps,
                ElementsAre("close ep0", "unlink /config/usb_gadget/g0/configs/g0.1/ffs.subi.usb0",
                            "umount /dev/subi", "rmdir " + function));
}

TEST_F(SubiSetupTest, StaysDownWithoutEndpointZero) {
    sdk.Connect();
    for (const char* step : {"open", "descriptors"}) {
        endpoint.written.clear();
        endpoint.steps.clear();
        endpoint.failingStep = step;
        subi.OnAdd();
        EXPECT_EQ(endpoint.steps.back(),
                  step == std::string("open") ? "open /dev/subi/ep0" : "close ep0");
    }
    endpoint.written.clear();
    endpoint.failingStep = "strings";
    subi.OnAdd();
    EXPECT_EQ(testing::PrintToString(endpoint.steps).find("\"link\""), std::string::npos);

    for (const char* step : {"mkdir /config", "mkdir /dev", "mount"}) {
        endpoint.failingStep = step;
        EXPECT_THROW(subi.OnAdd(), Error) << step;
    }
    endpoint.failingStep.clear();
    endpoint.written.clear();
    subi.OnAdd(); // none of the above has used anything up
    up = true;
    EXPECT_EQ(endpoint.In(63, 2), Reply(Word(8)));
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
    EXPECT_EQ(endpoint.Out(85, Word(19)), test::silence);
    EXPECT_EQ(endpoint.In(78, 2), Reply(Word(0))) << "a query that failed";
    EXPECT_EQ(endpoint.In(54, 12), test::refusedIn);
    EXPECT_EQ(endpoint.In(93, 64).reply.value_or(Bytes{}).size(), 64U);

    Camera second(kirocamera_sim_get_camera());
    try {
        subi.OnCameraConnect(second);
        ADD_FAILURE() << "a second identity";
    } catch (const std::future_error& error) {
        EXPECT_EQ(error.code(), std::future_errc::promise_already_satisfied);
    }
}

// The kernel's own waiting instead of the fake's: a worker that sits in its wait must hear of the
// removal, however long no host sends anything.
TEST(SubiRemoval, ReachesAWorkerThatWaitsInTheKernel) {
    test::CapturedOutput output;
    test::FakeEndpoint endpoint;
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe(pipe.data()), 0);
    std::signal(SIGPIPE, SIG_IGN);
    endpoint.sys->Poll = nullptr;
    endpoint.sys->Eventfd = nullptr;
    endpoint.sys->Read = nullptr;
    endpoint.sys->Open = [&](const char*, int, unsigned) { return pipe[0]; };
    endpoint.sys->Write = [&](int fd, const void* data, std::size_t size) {
        return fd == pipe[0] ? static_cast<ssize_t>(size) : ::write(fd, data, size);
    };
    test::ManualCamera sdk;
    CameraManager manager(0);
    USBGadgetSubi subi("subi", "udc.0");
    manager.AddObserver(subi);
    manager.Start();
    sdk.Connect();
    subi.OnAdd();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    subi.OnRemove();
    EXPECT_EQ(endpoint.steps.back(), "rmdir " + function);
    EXPECT_EQ(::write(pipe[1], "", 1), -1) << "endpoint zero is still open";
    ::close(pipe[1]);
}

} // namespace
} // namespace vantorel
