// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// An observer that blocks delays only its own subject: the other services continue, and its own
// continues when it returns. docs/architecture.md states which threads wait for which subject.

#include "tests/support/CapturedOutput.h"
#include "tests/support/PrivateRoot.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/kernel/Drm.h"
#include "vantorel/devices/Button.h"
#include "vantorel/devices/ButtonService.h"
#include "vantorel/devices/LCD.h"
#include "vantorel/devices/LCDService.h"
#include "vantorel/devices/Thermometer.h"
#include "vantorel/devices/ThermometerService.h"
#include "vantorel/logger/Logger.h"
#include "vantorel/logger/LoggerService.h"
#include "vantorel/service/Error.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <semaphore>

#include <fcntl.h>
#include <linux/input.h>

namespace vantorel {
namespace {

enum Subject { button, display, thermometer, logger, subjects };

/** Counts the notifications of each subject and can block in those of one subject. */
class Observer final : public ButtonObserver,
                       public LCDObserver,
                       public ThermometerObserver,
                       public LoggerObserver {
public:
    void OnButtonUp(Button&) override { Note(button); }
    void OnButtonDown(Button&) override { Note(button); }
    void OnButtonError(Button&, Error&) override {}
    void OnLCDDraw(LCD&, std::uint32_t*) override { Note(display); }
    void OnLCDError(LCD&, Error&) override {}
    void OnThermometerTemperatureQuery(Thermometer&, float) override { Note(thermometer); }
    void OnThermometerError(Thermometer&, Error&) override {}
    void OnLoggerNewEntry(Logger&, LoggerEntry&) override { Note(logger); }
    void OnLoggerError(Logger&, Error&) override {}

    /** Returns whether a subject notifies three more times. */
    bool GoesOn(Subject subject) {
        const int before = counts[subject];
        return test::Eventually([&] { return counts[subject] >= before + 3; });
    }
    void Block(Subject subject) {
        blocked = subject;
        isBlocked.acquire();
    }
    /** Ends the block and returns how often the subject has notified in the meantime. */
    int Release() {
        const int before = counts[blocked];
        blocked = subjects;
        released.release();
        return before;
    }
    std::array<std::atomic<int>, subjects> counts{};

private:
    void Note(Subject subject) {
        ++counts[subject];
        if (blocked == subject) {
            isBlocked.release();
            released.acquire();
        }
    }
    std::atomic<Subject> blocked{subjects};
    std::binary_semaphore isBlocked{0};
    std::binary_semaphore released{0};
};

/** Reads from an input device whose key bounces without end. */
ssize_t ReadKey(void* data, std::size_t size) {
    static std::atomic<int> edges{0};
    auto* const record = static_cast<InputEventRecord*>(data);
    record->code = KEY_POWER;
    record->value = ++edges % 2;
    return static_cast<ssize_t>(size);
}

TEST(BlockedObserver, HoldsUpItsOwnSubjectOnly) {
    const test::CapturedOutput output;
    const test::TemporaryDirectory files;
    test::ScopedSys sys;
    test::FakeCard card(sys);
    const auto readEvent = sys->Read;
    sys->Poll = [](pollfd* fds, nfds_t, int) { return fds->revents = POLLIN, 1; };
    sys->Read = [&](int fd, void* data, std::size_t size) {
        return size == sizeof(InputEventRecord) ? ReadKey(data, size)
               : size == sizeof(drm::FlipEvent) ? readEvent(fd, data, size)
                                                : ::read(fd, data, size);
    };
    using std::chrono::milliseconds;
    Button key("power", "/dev/null", KEY_POWER);
    LCD lcd("lcd", "/dev/null");
    Thermometer sensor("board", files.Write("temp1_input", "25000\n"));
    Logger log(files / "");
    ButtonService keys(key);
    LCDService pictures(lcd);
    ThermometerService temperatures(sensor, milliseconds(1));
    LoggerService lines(log, milliseconds(1));
    Observer observer;
    keys.AddObserver(observer);
    pictures.AddObserver(observer);
    temperatures.AddObserver(observer);
    lines.AddObserver(observer);
    const std::array<Service*, subjects> services{&keys, &pictures, &temperatures, &lines};
    for (Service* service : services) {
        service->Start();
    }
    for (int blocked = 0; blocked < subjects; ++blocked) {
        observer.Block(static_cast<Subject>(blocked));
        const int before = observer.counts[static_cast<std::size_t>(blocked)];
        for (int other = 0; other < subjects; ++other) {
            EXPECT_TRUE(other == blocked || observer.GoesOn(static_cast<Subject>(other)))
                << other << " waits for " << blocked;
        }
        EXPECT_EQ(observer.Release(), before);
        EXPECT_TRUE(observer.GoesOn(static_cast<Subject>(blocked)));
    }
    for (Service* service : services) {
        service->Stop();
    }
}

} // namespace
} // namespace vantorel
