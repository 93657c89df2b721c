// Every system call of the library fails once, in every way in which it can, and what comes of it
// is compared with what the operation promises.

#include "tests/faults/Promises.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/PrivateRoot.h"
#include "vantorel/service/Error.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <exception>
#include <iostream>
#include <optional>
#include <set>
#include <span>
#include <sstream>

#include <unistd.h>

namespace vantorel {
namespace {

using test::Faults;
using test::Scenario;

// How many of the errors are played, and how many of those that end the process, for each of which
// it takes a process: the device is slow, and so is a sanitizer.
#if defined(__arm__)
constexpr std::ptrdiff_t errorsPlayed = 6;
constexpr std::ptrdiff_t endsPlayed = 1;
#elif defined(__SANITIZE_ADDRESS__)
constexpr std::ptrdiff_t errorsPlayed = std::size(test::errors);
constexpr std::ptrdiff_t endsPlayed = 1;
#else
constexpr std::ptrdiff_t errorsPlayed = std::size(test::errors);
constexpr std::ptrdiff_t endsPlayed = 15;
#endif

struct Result {
    int error = 0;
    int kept = 0;
    std::vector<test::MadeCall> made;
};

Result Play(const Scenario& scenario, std::size_t failingCall, int withError) {
    Faults faults(failingCall, withError);
    Result result;
    try {
        scenario.play(faults);
    } catch (const Error& error) {
        result.error = error.Value();
    }
    result.error = faults.reported.value_or(result.error);
    result.kept = faults.Kept();
    result.made = faults.made;
    return result;
}

/** For a process of its own, in a failure that nobody can go on after. */
[[noreturn]] void PlayAndExit(const Scenario& scenario, std::size_t failingCall, int withError) {
    ::alarm(20);
    Play(scenario, failingCall, withError);
    ::_exit(0);
}

/** Not always: a copy that a signal has interrupted goes on with one call more. */
bool Struck(const Result& result, std::size_t at, const test::MadeCall& call) {
    return at < result.made.size() && result.made[at] == call;
}

class FaultSweep : public testing::Test {
protected:
    void SetUp() override {
        VANTOREL_NEED_PRIVATE_MOUNTS();
        root.emplace();
        output.emplace(); // keeps a file in the root's /tmp
        std::filesystem::create_directory("/kernel");
        test::Must(::mount("/proc", "/kernel", nullptr, MS_BIND | MS_REC, nullptr));
        // The same for every run, whatever else goes on here.
        test::CoverWithTmpfs("/proc");
        std::set_terminate([] {
            std::cerr << "ended by " << current << std::endl;
            std::abort();
        });
        test::WriteFile("/proc/cmdline", "image_select=0\n");
        test::WriteFile("/proc/mtd", "mtd2: 1 1 \"FIT_1\"\nmtd3: 1 1 \"rootfs_1\"\n");
        std::filesystem::create_directories("/proc/77/fd");
        std::filesystem::create_symlink("/bin/other", "/proc/77/exe");
        std::filesystem::create_symlink("/dev/other", "/proc/77/fd/3");
    }
    void TearDown() override { ::umount("/proc"); }

    void Fail(const Scenario& scenario, std::size_t at, const test::MadeCall& call, int error) {
        const test::Promise promise = test::PromiseOf(call, error);
        std::ostringstream text;
        text << scenario.name << ", call " << at << ": " << call.where << " " << call.index << ", "
             << call.Name() << " " << ::strerrorname_np(error);
        current = text.str();
        SCOPED_TRACE(current);
        if (promise.outcome == test::Outcome::Ends) {
            const auto* const place = std::ranges::find(test::errors, error);
            if (place - std::begin(test::errors) < endsPlayed) {
                EXPECT_EXIT(PlayAndExit(scenario, at, error), testing::KilledBySignal(SIGABRT), "");
            }
            return;
        }
        Result result;
        int plays = 0;
        do {
            ASSERT_LT(plays++, 5) << "not the calls of the first run";
            result = Play(scenario, at, error);
        } while (!Struck(result, at, call));
        EXPECT_EQ(result.error, promise.outcome == test::Outcome::Silent ? 0
                                : promise.becomes != 0                   ? promise.becomes
                                                                         : error);
        // A child for which waiting has failed is not waited for again.
        const int children = call.call == test::Call::Waitpid ? 1 : 0;
        EXPECT_LE(result.kept, scenario.kept + promise.keeps + children);
    }

    inline static std::string current; // for the message when the process ends unexpectedly
    std::optional<test::PrivateRoot> root;
    std::optional<test::CapturedOutput> output;
};

TEST_F(FaultSweep, KeepsWhatEveryOperationPromises) {
    std::set<test::Call> reached;
    for (const Scenario& scenario : test::Scenarios()) {
        const Result whole = Play(scenario, Faults::none, 0);
        EXPECT_EQ(whole.error, 0) << scenario.name;
        EXPECT_EQ(whole.kept, scenario.kept) << scenario.name;
        for (std::size_t at = 0; at < whole.made.size(); ++at) {
            const test::MadeCall& call = whole.made[at];
            reached.insert(call.call);
            for (const int error : std::span(test::errors).first(errorsPlayed)) {
                Fail(scenario, at, call, error);
            }
        }
    }
    EXPECT_EQ(reached.size(), std::size(test::callNames)) << "a system call is in no scenario";
    if (errorsPlayed == std::ssize(test::errors)) {
        EXPECT_TRUE(test::UnusedPromises().empty()) << test::UnusedPromises();
    }
}

} // namespace
} // namespace vantorel
