#include "vantorel/service/Service.h"
#include "tests/support/ScriptedSys.h"
#include "vantorel/service/ObserverList.h"
#include "vantorel/service/private/StatusLine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <latch>
#include <vector>

namespace vantorel {
namespace {

using namespace std::chrono_literals;
using test::FailWith;
using test::ScopedSys;

class CountingService final : public Service {
public:
    using Service::Service;
    ~CountingService() override { TerminateIfJoinable(); }
    void ServiceFunction() override {
        ++calls;
        calls.notify_all();
    }
    void WaitForCalls(int count) const {
        for (int seen = calls; seen < count; seen = calls) {
            calls.wait(seen);
        }
    }
    std::atomic<int> calls{0};
};

TEST(Service, PausesBeforeTheFirstCallAndKeepsOneThread) {
    ScopedSys sys;
    std::atomic<int> pauses{0};
    std::atomic<int> callsAtFirstPause{-1};
    CountingService service(1234ms);
    sys->Nanosleep = [&](const timespec* request, timespec*) {
        if (pauses++ == 0) {
            callsAtFirstPause = service.calls.load();
        }
        EXPECT_EQ(request->tv_sec, 1);
        EXPECT_EQ(request->tv_nsec, 234'000'000);
        return 0;
    };
    service.Stop(); // never started: no effect
    service.Start();
    service.Start();
    service.WaitForCalls(3);
    service.Stop();
    EXPECT_EQ(callsAtFirstPause, 0);
    EXPECT_EQ(pauses, service.calls); // a second thread would pause for the same calls
}

TEST(Service, RunsOnceInItsLife) {
    CountingService service(0ms);
    service.Start();
    service.WaitForCalls(1);
    service.Stop();
    const int calls = service.calls;
    service.Start();
    service.Stop();
    EXPECT_EQ(service.calls, calls);
}

TEST(Service, SpinsWithoutSleepingForAnIntervalOfZeroOrLess) {
    for (const auto interval : {0ms, -5ms}) {
        ScopedSys sys;
        std::atomic<int> pauses{0};
        sys->Nanosleep = [&](const timespec*, timespec*) { return ++pauses, 0; };
        CountingService service(interval);
        service.Start();
        service.WaitForCalls(10);
        service.Stop();
        EXPECT_EQ(pauses, 0);
    }
}

TEST(Service, GoesOnSleepingForWhatASignalLeft) {
    ScopedSys sys;
    std::vector<timespec> requests;
    std::latch slept(1);
    CountingService service(2000ms);
    sys->Nanosleep = [&](const timespec* request, timespec* remaining) {
        requests.push_back(*request);
        if (requests.size() < 3) {
            *remaining = {1, static_cast<long>(requests.size())};
            return FailWith(EINTR);
        }
        if (requests.size() == 3) {
            slept.count_down();
        }
        return 0;
    };
    service.Start();
    slept.wait();
    service.Stop();
    EXPECT_EQ(requests[0].tv_sec, 2);
    EXPECT_EQ(requests[1].tv_nsec, 1);
    EXPECT_EQ(requests[2].tv_nsec, 2);
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

struct Listener {
    explicit Listener(std::vector<Listener*>& heard) : told(heard) {}
    void OnEvent(int) { told.push_back(this); }
    std::vector<Listener*>& told;
};

TEST(ObserverList, TellsInTheOrderOfRegistrationAndChecksNothing) {
    std::vector<Listener*> told;
    Listener a(told);
    Listener b(told);
    ObserverList<Listener> list;
    list.Add(a);
    list.Add(b);
    list.Add(a);
    list.Notify(&Listener::OnEvent, 1);
    EXPECT_THAT(told, testing::ElementsAre(&a, &b, &a));
}

TEST(StatusLine, IsWrittenWholeWhenManyThreadsPrint) {
    testing::internal::CaptureStdout();
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([] {
                for (int n = 0; n < 200; ++n) {
                    PrintStatus("STATE: ", 42, " OF ", 43);
                }
            });
        }
    }
    std::istringstream lines(testing::internal::GetCapturedStdout());
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        ASSERT_EQ(line, "STATE: 42 OF 43");
    }
    EXPECT_EQ(count, 800);
}

} // namespace
} // namespace vantorel
