#include "vantorel/devices/Button.h"

#include "tests/support/ScriptedSys.h"
#include "tests/support/TemporaryDirectory.h"
#include "vantorel/devices/ButtonService.h"
#include "vantorel/service/Error.h"

#include <gmock/gmock.h>

#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vantorel {
namespace {

constexpr std::uint16_t typeSync = 0;
constexpr std::uint16_t typeKey = 1;
constexpr std::uint16_t typeMisc = 4;
constexpr std::uint16_t power = 116;
constexpr std::uint16_t other = 115;

class ButtonTest : public testing::Test, public ButtonObserver {
protected:
    ButtonTest() {
        ::mkfifo(node.c_str(), 0600);
        writer.Reset(::open(node.c_str(), O_RDWR | O_CLOEXEC));
    }

    void Send(std::uint16_t type, std::uint16_t code, std::int32_t value) {
        const InputEventRecord record{7, 8, type, code, value};
        ASSERT_EQ(::write(writer.Get(), &record, sizeof record), ssize_t{16});
    }

    void OnButtonUp(Button&) override { heard += 'U'; }
    void OnButtonDown(Button&) override {
        heard += 'D';
        if (throws) {
            throw Error(EIO);
        }
    }
    void OnButtonError(Button&, Error&) override { heard += 'E'; }

    std::string heard;
    bool throws = false;
    test::TemporaryDirectory directory;
    std::string node = directory / "event0";
    UniqueFd writer;
};

TEST_F(ButtonTest, PicksTheEventsOfItsKey) {
    Button button("power", node, power);
    Send(typeKey, other, 1);
    Send(typeSync, 0, 0);
    Send(typeMisc, power, 42); // the code alone decides
    const InputEventRecord event = button.WaitForEvent();
    EXPECT_EQ(event.value, 42);
    EXPECT_EQ(event.type, typeMisc);
    EXPECT_EQ(Button("none", node, 0).WaitForEvent().code, 0) << "a key that is not waited for";
}

TEST_F(ButtonTest, WaitsOnWithoutKeepingTheProcessorWhenItsDeviceIsGone) {
    Button button("power", node, power);
    test::ScopedSys sys;
    const struct {
        short found;       // by poll()
        std::uint16_t key; // of the record that there is to read, or none
        bool pauses;
    } script[] = {
        {POLLIN, other, false},
        {POLLHUP | POLLERR, 0, true},
        {POLLIN | POLLHUP | POLLERR, 0, true}, // a device that left a release unread
        {POLLNVAL, 0, true},
        {POLLIN | POLLHUP, other, false}, // a pipe whose writer is done
        {POLLIN | POLLHUP, power, false},
    };
    const auto* next = script;
    int pauses = 0;
    sys->Poll = [&](pollfd* fds, nfds_t, int timeout) {
        EXPECT_EQ(timeout, -1);
        fds->revents = next++->found;
        return 1;
    };
    sys->Read = [&](int, void* buffer, std::size_t size) -> ssize_t {
        const InputEventRecord record{7, 8, typeKey, next[-1].key, 1};
        std::memcpy(buffer, &record, record.code != 0 ? size : 0);
        return record.code != 0 ? ssize_t{16} : test::FailWith(ENODEV);
    };
    sys->Nanosleep = [&](const timespec* request, timespec*) {
        EXPECT_TRUE(next[-1].pauses);
        EXPECT_EQ(request->tv_sec, 0); // a pipe's next writer must not wait for long
        EXPECT_GE(request->tv_nsec, 50'000'000);
        return ++pauses, 0;
    };
    EXPECT_EQ(button.WaitForEvent().value, 1);
    EXPECT_EQ(next, std::end(script));
    EXPECT_EQ(pauses, 3);
}

TEST_F(ButtonTest, IsTheSameForOneKeyOfOneNode) {
    const std::string link = directory / "event1";
    ASSERT_EQ(::symlink(node.c_str(), link.c_str()), 0);
    const Button button("one", node, power);
    EXPECT_TRUE(button == Button("two", node, power));
    EXPECT_FALSE(button == Button("one", node, other));
    EXPECT_FALSE(button == Button("one", link, power));
}

TEST_F(ButtonTest, IsReportedPressedAndReleasedOnceDespiteAutoRepeat) {
    Button button("power", node, power);
    ButtonService service(button);
    service.AddObserver(*this);
    for (const std::int32_t value : {1, 2, 2, 0}) {
        Send(typeKey, other, 1);
        Send(typeKey, power, value);
        Send(typeSync, 0, 0);
        service.ServiceFunction();
    }
    EXPECT_EQ(heard, "DU");
    throws = true; // an error of its user's is none of the button
    Send(typeKey, power, 1);
    EXPECT_THROW(service.ServiceFunction(), Error);
    EXPECT_EQ(heard, "DUD");
}

} // namespace
} // namespace vantorel
