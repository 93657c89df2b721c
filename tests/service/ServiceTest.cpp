// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/service/Service.h"

#include "tests/support/ScriptedSys.h"
#include "vantorel/service/Error.h"
#include "vantorel/service/ObserverList.h"
#include "vantorel/service/SharedSlot.h"
#include "vantorel/service/SnapshotSlot.h"
#include "vantorel/service/UniqueFd.h"
#include "vantorel/service/private/OpenFile.h"
#include "vantorel/service/private/Sleep.h"
#include "vantorel/service/private/StatusLine.h"

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstring>
#include <iostream>
#include <latch>
#include <limits>
#include <memory>
#include <sstream>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <pthread.h>

namespace vantorel {
namespace {

using namespace std::chrono_literals;
using test::ScopedSys;

struct CountingService final : Service {
    using Service::Service;
    ~CountingService() override { TerminateIfJoinable(); }
    void ServiceFunction() override { ++calls; }
    void WaitForCalls(int count) const {
        while (calls < count) {
            std::this_thread::sleep_for(1ms);
        }
    }
    std::atomic<int> calls{0};
};

TEST(Service, PausesBeforeTheFirstCallAndKeepsOneThread) {
    ScopedSys sys;
    std::atomic<int> pauses{0};
    CountingService service(1234ms);
    sys->Nanosleep = [&](const timespec* request, timespec*) {
        EXPECT_GE(pauses++, service.calls);
        EXPECT_EQ(request->tv_sec, 1);
        EXPECT_EQ(request->tv_nsec, 234'000'000);
        return 0;
    };
    service.Stop(); // never started: no effect
    service.Start();
    service.Start();
    service.WaitForCalls(3);
    service.Stop();
    EXPECT_EQ(pauses, service.calls); // a second thread would add pauses
}

TEST(Service, RunsOnceInItsLifeAndSpinsWithoutSleepingForAnIntervalOfZeroOrLess) {
    for (const auto interval : {0ms, -5ms}) {
        ScopedSys sys;
        sys->Nanosleep = [](const timespec*, timespec*) { return ADD_FAILURE(), 0; };
        CountingService service(interval);
        service.Start();
        service.WaitForCalls(10);
        service.Stop();
        const int calls = service.calls;
        service.Start();
        std::this_thread::sleep_for(20ms); // time for a second thread to call the function
        service.Stop();
        Service::ServiceThreadFunction(&service); // must not call the function here either
        EXPECT_EQ(service.calls, calls);
    }
}

TEST(Service, IsNotRunningWhenItsThreadCannotBeCreated) {
    pthread_attr_t usual;
    ASSERT_EQ(::pthread_getattr_default_np(&usual), 0);
    pthread_attr_t tooLarge;
    ASSERT_EQ(::pthread_getattr_default_np(&tooLarge), 0);
    ::pthread_attr_setstacksize(&tooLarge, std::numeric_limits<std::size_t>::max() / 8 * 7);
    ASSERT_EQ(::pthread_setattr_default_np(&tooLarge), 0);
    CountingService service(0ms);
    EXPECT_THROW(service.Start(), std::system_error);
    ASSERT_EQ(::pthread_setattr_default_np(&usual), 0);
    service.Stop(); // nothing to wait for
    service.Start();
    service.WaitForCalls(1);
    service.Stop();
}

TEST(Sleep, ContinuesForTheRemainingTimeAfterASignal) {
    ScopedSys sys;
    std::vector<std::pair<time_t, long>> requests;
    sys->Nanosleep = [&](const timespec* request, timespec* remaining) {
        requests.emplace_back(request->tv_sec, request->tv_nsec);
        *remaining = {1, static_cast<long>(requests.size())};
        return requests.size() < 3 ? test::FailWith(EINTR) : 0;
    };
    SleepFor(2000ms);
    EXPECT_THAT(requests, testing::ElementsAre(std::pair(2, 0), std::pair(1, 1), std::pair(1, 2)));
}

TEST(ServiceDeathTest, EndsTheProcessWhenDestroyedWhileItRuns) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            CountingService service(0ms);
            service.Start();
        },
        testing::KilledBySignal(SIGABRT), "");
}

TEST(ObserverList, NotifiesInOrderOfRegistrationIncludingDuplicates) {
    struct Listener {
        void OnEvent(std::vector<Listener*>& notified) { notified.push_back(this); }
    } a, b;
    ObserverList<Listener> list;
    for (Listener* listener : {&a, &a, &b}) {
        list.Add(*listener);
    }
    std::vector<Listener*> notified;
    list.Notify(&Listener::OnEvent, notified);
    EXPECT_THAT(notified, testing::ElementsAre(&a, &a, &b));
}

TEST(Error, ReturnsThePlatformsTexts) {
    EXPECT_EQ(Error(ENOENT).ToString(), std::strerror(ENOENT));
    EXPECT_EQ(Error(-7).ToString(), "Unknown error -7");
}

TEST(Error, EqualsOneOfAnotherTypeWithTheSameNumber) {
    struct SpecialError final : Error {
        using Error::Error;
    };
    EXPECT_TRUE(SpecialError(2) == Error(2));
    EXPECT_FALSE(Error(2) == Error(22));
}

TEST(UniqueFd, ClosesItsDescriptorOnceAndKeepsErrno) {
    ScopedSys sys;
    std::vector<int> closed;
    sys->Close = [&](int fd) { return closed.push_back(fd), test::FailWith(EIO); };
    errno = ENODEV;
    {
        UniqueFd first(7);
        UniqueFd second(std::move(first));
        second = UniqueFd(8);
        EXPECT_THAT(closed, testing::ElementsAre(7));
        EXPECT_EQ(UniqueFd(9).Release(), 9);
    }
    EXPECT_THAT(closed, testing::ElementsAre(7, 8));
    EXPECT_EQ(errno, ENODEV);
}

// A getty on the USB line outlives the application and would keep its devices open.
TEST(OpenFile, ClosesDescriptorsOnExec) {
    const UniqueFd file = OpenFile("/dev/null", O_RDONLY);
    EXPECT_EQ(::fcntl(file.Get(), F_GETFD), FD_CLOEXEC);
}

/** The target of standard output, such as a disk. */
class Disk : public std::stringbuf {
public:
    Disk() : terminal(std::cout.rdbuf(this)) {}
    ~Disk() override { std::cout.rdbuf(terminal); }

    bool full = false;
    std::chrono::milliseconds pause{0}; ///< that a write takes
    int flushes = 0;
    std::atomic<int> overlaps{0};

protected:
    std::streamsize xsputn(const char* text, std::streamsize size) override {
        if (busy.exchange(true)) {
            ++overlaps;
            return size;
        }
        std::this_thread::sleep_for(pause);
        const std::streamsize written = full ? 0 : std::stringbuf::xsputn(text, size);
        busy = false;
        return written;
    }
    int sync() override { return ++flushes, 0; }

private:
    std::streambuf* const terminal;
    std::atomic<bool> busy{false};
};

TEST(StatusLine, IsFlushedAndIsNotLostAfterAFailedOne) {
    Disk disk;
    disk.full = true;
    PrintStatus("lost");
    disk.full = false;
    const int before = disk.flushes;
    PrintStatus("kept");
    EXPECT_EQ(disk.str(), "kept\n");
    EXPECT_GT(disk.flushes, before) << "not flushed: a power cut would lose the line";
}

TEST(StatusLine, IsWrittenByOneThreadAtATime) {
    Disk disk;
    disk.pause = 1ms;
    std::latch bothRun(2);
    const auto print = [&] {
        bothRun.arrive_and_wait();
        for (int line = 0; line < 30; ++line) {
            PrintStatus(line);
        }
    };
    std::jthread other(print);
    print();
    other.join();
    EXPECT_EQ(disk.overlaps, 0);
}

// A camera must outlive the frames that are being handled when another camera replaces it.
TEST(SnapshotSlot, DestroysReplacedObjectsAfterTheirLastReader) {
    const auto first = std::make_shared<int>(1);
    const auto second = std::make_shared<int>(2);
    {
        SnapshotSlot<std::shared_ptr<int>> slot(first);
        {
            const auto reader = slot.Read();
            slot.Store(second);
            slot.Store(nullptr);
            EXPECT_EQ(**reader, 1);
            EXPECT_EQ(*slot.Read(), nullptr);
            EXPECT_GT(first.use_count() + second.use_count(), 2) << "the first reader has ended";
        }
        EXPECT_EQ(first.use_count() + second.use_count(), 2);
        slot.Store(first);
        slot.Store(second);
        EXPECT_EQ(first.use_count(), 1) << "no reader uses it";
    }
    EXPECT_EQ(second.use_count(), 1);
}

// A camera connects and disconnects while the host requests its identity.
TEST(SharedSlot, KeepsAnObjectForItsReadersWhileOthersReplaceIt) {
    struct Object {
        ~Object() { alive = false; }
        std::atomic<bool> alive{true};
    };
    SharedSlot<Object> slot;
    EXPECT_EQ(slot.Load(), nullptr);
    slot.Store(std::make_shared<Object>());
    std::atomic<int> stored{0};
    const auto replace = [&](const std::stop_token& end) {
        while (!end.stop_requested()) {
            slot.Store(std::make_shared<Object>());
            ++stored;
        }
    };
    const std::jthread first(replace);
    const std::jthread second(replace);
    int dead = 0;
    for (int loaded = 0; loaded < 100'000 || stored < 100'000; ++loaded) {
        dead += slot.Load()->alive ? 0 : 1;
    }
    EXPECT_EQ(dead, 0);
}

} // namespace
} // namespace vantorel
