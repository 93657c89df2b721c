// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/devices/Button.h"

#include "tests/support/ErrorOf.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/kernel/Ioctl.h"
#include "vantorel/devices/ButtonService.h"
#include "vantorel/service/Error.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <vector>

#include <fcntl.h>
#include <linux/input.h>
#include <poll.h>
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

    /** Discards the unread events of keys, as the kernel does when the keys' state is read. */
    void DiscardKeyEvents() {
        std::vector<InputEventRecord> kept;
        pollfd unread{writer.Get(), POLLIN, 0};
        while (::poll(&unread, 1, 0) == 1) {
            InputEventRecord record{};
            ASSERT_EQ(::read(writer.Get(), &record, sizeof record), ssize_t{16});
            if (record.type != typeKey) {
                kept.push_back(record);
            }
        }
        for (const InputEventRecord& record : kept) {
            Send(record.type, record.code, record.value);
        }
    }

    void OnButtonUp(Button&) override { heard += 'U'; }
    void OnButtonDown(Button&) override {
        heard += 'D';
        if (heard == "DUD") {
            throw Error(EIO);
        }
    }
    void OnButtonError(Button&, Error&) override { heard += 'E'; }

    std::string heard;
    test::TemporaryDirectory directory;
    std::string node = directory / "event0";
    UniqueFd writer;
};

TEST_F(ButtonTest, FiltersEventsByTheKeyCodeOnly) {
    Send(typeKey, other, 1);
    Send(typeSync, 0, 0);
    Send(typeMisc, power, 42);
    Send(typeKey, power, 43);
    const InputEventRecord event = Button("power", node, power).WaitForEvent();
    ASSERT_EQ(event.value, 42);
    EXPECT_EQ(event.type, typeMisc);
    Send(typeSync, 0, 5);
    const InputEventRecord none = Button("none", node, 0).WaitForEvent();
    EXPECT_EQ(none.value, 0) << "a button with code 0 has waited";
    EXPECT_EQ(none.seconds, 0U);
}

TEST_F(ButtonTest, EqualsAButtonWithTheSamePathAndKeyCode) {
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
        Send(typeKey, power, value);
        service.ServiceFunction();
    }
    EXPECT_EQ(heard, "DU");
    Send(typeKey, power, 1);
    EXPECT_THROW(service.ServiceFunction(), Error); // the error of an observer, not of the button
    EXPECT_EQ(heard, "DUD");
}

TEST_F(ButtonTest, ReportsEveryEdgeOfABounceAndNoPressOfAKeyThatWasHeldAtTheStart) {
    Button button("power", node, power);
    ButtonService service(button);
    service.AddObserver(*this);
    Send(typeKey, power, 2); // held since before the start
    Send(typeKey, power, 0);
    for (int edge = 1; edge <= 20; ++edge) {
        Send(typeKey, power, edge % 2);
        Send(typeSync, 0, 0);
    }
    std::string expected = "U";
    for (int cycle = 0; cycle < 22; ++cycle) {
        expected += cycle < 2 ? "" : cycle % 2 == 0 ? "D" : "U";
        try {
            service.ServiceFunction();
        } catch (const Error&) { // of this observer
        }
    }
    EXPECT_EQ(heard, expected);
}

// The kernel drops the events of a client that does not read them, and reports that with one event.
TEST_F(ButtonTest, TakesItsStateFromTheDeviceWhenEventsWereDropped) {
    Button button("power", node, power);
    bool isDown = false;
    bool isFollowed = false; // by an event that comes after the state has been read
    test::ScopedSys sys;
    // A wait for an event that does not come ends this test instead of blocking it.
    sys->Poll = [](pollfd* fds, nfds_t count, int) { return ::poll(fds, count, 0); };
    test::IoctlRecorder ioctls(sys);
    std::array<unsigned char, KEY_CNT / 8> keys{};
    ioctls.OnPlain(EVIOCGKEY(keys.size()), [&](void* record) {
        keys.fill(0xff); // every other key is in the opposite state
        keys[power / 8] = isDown ? 1 << power % 8 : static_cast<unsigned char>(~(1 << power % 8));
        std::memcpy(record, keys.data(), keys.size());
        DiscardKeyEvents();
        if (isFollowed) {
            Send(typeKey, power, 77);
        }
        return static_cast<int>(keys.size());
    });
    // Each row: the state before the drop and the state that the device reports after it.
    for (const auto& [before, now] : {std::pair{0, 0}, {0, 1}, {1, 1}, {1, 0}}) {
        Send(typeKey, power, before);
        EXPECT_EQ(button.WaitForEvent().value, before);
        isDown = now == 1;
        isFollowed = before == now; // no change was dropped: the button returns the next event
        Send(typeSync, SYN_DROPPED, 0);
        Send(typeKey, power, 1 - now); // a click that the state covers
        Send(typeKey, power, now);
        const InputEventRecord event = button.WaitForEvent();
        EXPECT_EQ(event.type, typeKey);
        EXPECT_EQ(event.code, power);
        EXPECT_EQ(event.value, before == now ? 77 : now) << before << now;
    }
    isFollowed = false;
    // A repetition changes nothing, whether its press was returned or not.
    for (const bool wasReturned : {false, true}) {
        Send(typeKey, power, wasReturned ? 1 : 0);
        Send(typeKey, power, 2);
        EXPECT_EQ(button.WaitForEvent().value, wasReturned ? 1 : 0);
        EXPECT_EQ(button.WaitForEvent().value, 2);
        isDown = !wasReturned;
        Send(typeSync, SYN_DROPPED, 0);
        EXPECT_EQ(button.WaitForEvent().value, isDown ? 1 : 0);
    }
    Send(typeSync, SYN_DROPPED, 0);
    ioctls.OnPlain(EVIOCGKEY(keys.size()), [](void*) { return test::FailWith(ENODEV); });
    Send(typeKey, power, 1);
    EXPECT_EQ(button.WaitForEvent().value, 1) << "a device without this request works as before";
}

TEST_F(ButtonTest, WaitsWithoutATimeLimitAndEndsQuietlyAWaitWithoutAnEvent) {
    Button button("power", node, power);
    ButtonService service(button);
    service.AddObserver(*this);
    test::ScopedSys sys;
    sys->Poll = [](pollfd* fds, nfds_t, int timeout) {
        EXPECT_EQ(timeout, -1) << "an idle button wakes the processor";
        return fds->revents = 0, 0;
    };
    sys->Read = [](int, void* record, std::size_t size) {
        ADD_FAILURE() << "the read would block until an event";
        static_cast<InputEventRecord*>(record)->code = power;
        return static_cast<ssize_t>(size);
    };
    EXPECT_EQ(test::ErrorOf([&] { button.WaitForEvent(); }), ETIMEDOUT);
    service.ServiceFunction();
    EXPECT_EQ(heard, "");
}

// The kernel ends every wait for such a device at once; tests/device/HardwareTest.cpp covers a real
// device.
TEST_F(ButtonTest, DoesNotSpinWhileItsDeviceIsGone) {
    const struct {
        short found;
        bool fails; // the reads
        int pauses; // of 100 ms, until its event arrives
    } waits[] = {{POLLIN, false, 0},
                 {POLLIN, true, 5},
                 {POLLIN | POLLERR | POLLHUP, false, 5}, // unread events remain
                 {POLLERR | POLLHUP, false, 5},
                 {POLLNVAL, false, 5}};
    Button button("power", node, power);
    test::ScopedSys sys;
    for (const auto& [found, fails, expected] : waits) {
        int reads = 0;
        int pauses = 0;
        sys->Poll = [&, events = found](pollfd* fds, nfds_t, int) {
            return fds->revents = events, 1;
        };
        sys->Read = [&, failing = fails](int, void* record, std::size_t size) {
            if (++reads < 6 && failing) {
                return ssize_t{test::FailWith(EINVAL)};
            }
            static_cast<InputEventRecord*>(record)->code = reads == 6 ? power : other;
            return static_cast<ssize_t>(size);
        };
        sys->Nanosleep = [&](const timespec* pause, timespec*) {
            EXPECT_EQ(pause->tv_nsec, 100'000'000);
            return ++pauses, 0;
        };
        EXPECT_EQ(button.WaitForEvent().code, power);
        EXPECT_EQ(pauses, expected) << found;
    }
}

} // namespace
} // namespace vantorel
