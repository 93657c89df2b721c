// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// Each system call of the library fails once with each error, and the result is compared with the
// operation's promise.

#include "tests/faults/Faults.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/PrivateRoot.h"
#include "vantorel/service/Error.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <utility>

#include <malloc.h>
#include <unistd.h>

namespace vantorel {
namespace {

using test::Faults;
using test::Scenario;

// How many errors are injected, every how many-th of all pairs of a call and an error is played,
// and how many errors where the process ends. The latter need a process each, which is slow on the
// device and under a sanitizer. There the strides have no divisor in common with the number of
// errors, so that the errors take turns from call to call; native tests play all.
#if defined(__arm__)
constexpr std::ptrdiff_t errorsPlayed = 15; // those that the library distinguishes come first
constexpr std::size_t stride = 43;
constexpr std::ptrdiff_t endsPlayed = 1;
constexpr int livesPlayed = 5; // slow there; what remains of one life is counted anyway
#elif defined(VANTOREL_ADDRESS_SANITIZER)
constexpr std::ptrdiff_t errorsPlayed = 15;
constexpr std::size_t stride = 4;
constexpr std::ptrdiff_t endsPlayed = 1;
constexpr int livesPlayed = 20; // the sanitizer finds leaks itself
#else
constexpr std::ptrdiff_t errorsPlayed = std::size(test::errors);
constexpr std::size_t stride = 1;
constexpr std::ptrdiff_t endsPlayed = 15;
constexpr int livesPlayed = 1000; // show a leak of five bytes a life
#endif

/** How often each object is made and destroyed: VANTOREL_LIVES times, if set. */
int LivesPlayed() {
    const char* const lives = std::getenv("VANTOREL_LIVES");
    return lives != nullptr ? std::atoi(lives) : livesPlayed;
}

enum class Outcome {
    Thrown, // an Error with the errno leaves the operation, or reaches its observers
    Silent, // not reported
    Ends,   // the process ends
};

/** The result of a failure other than an Error with its errno and no resource left behind. */
struct Promise {
    std::string_view where; // the step of the scenario; empty: any
    std::string_view call;  // empty: any
    Outcome outcome = Outcome::Thrown;
    const char* reason = "";
    std::vector<int> errors = {}; // empty: any
    int from = 0;                 // index of the call within the step
    int to = std::numeric_limits<int>::max();
    int keeps = 0;   // resources left behind
    int becomes = 0; // the error that observers receive instead
    bool used = false;
};

std::vector<Promise> MakePromises() {
    constexpr auto thrown = Outcome::Thrown;
    constexpr auto silent = Outcome::Silent;
    constexpr auto ends = Outcome::Ends;
    constexpr int last = std::numeric_limits<int>::max();
    return {
        {"", "Sync", silent, "it cannot fail"},
        {"", "Close", silent, "close() closes the descriptor even when it fails"},
        {"", "Munmap", silent, "nothing can be done about it"},
        {"", "Madvise", silent, "the picture is shown without it"},
        {"", "Lseek", silent, "if the rewind matters, the read fails"},
        {"", "Nanosleep", silent, "a pause continues after EINTR and is omitted otherwise"},
        {"", "Mkdir", silent, "the directory exists", {EEXIST}},
        {"", "Spawn", silent, "a fork is tried instead"},
        {"", "Kill", silent, "the process is gone"},
        {"", "Readlink", silent, "the process is gone"},
        {"", "Reboot", silent, "the device stays on; the user can try again"},
        {"", "Access", silent, "an inaccessible file counts as missing"},
        {"log folder", "StreamOpen", silent, "nothing writes to the kernel's log", {}, 0, 0},
        {"log folder", "StreamOpen", thrown, "there can be no log", {}, 0, last, 0, EIO},
        {"log folder", "StreamSeek", thrown, "there can be no log", {}, 0, 3, 0, EIO},
        {"log", "StreamWrite", silent, "the line is missing from the log"},
        {"log", "StreamWritev", silent, "the line is missing from the log"},
        {"", "StreamClose", silent, "close() closes the descriptor even when it fails"},
        {"", "StreamOpen", silent, "the host sees the attribute's default"},
        {"", "StreamWrite", silent, "the host sees the attribute's default"},
        {"log folder", "Mkdir", thrown, "there can be no log"},
        {"log folder", "", silent, "the session's number may stay as it was"},
        {"state", "", silent, "the file may stay as it was"},
        {"display", "Ioctl", silent, "the first process is master anyway", {}, 1, 1},
        {"showing", "Ioctl", silent, "the picture is drawn again", {EINTR, ETIMEDOUT}},
        {"showing", "Poll", silent, "the next picture waits for both", {EINTR, ETIMEDOUT}},
        {"showing", "Read", silent, "the event's content is not used"},
        {"closing", "Ioctl", silent, "closing the card does the same"},
        {"button", "Poll", silent, "the wait for the button is repeated", {EINTR, ETIMEDOUT}},
        {"button", "Ioctl", silent, "the button continues with the next event"},
        {"button", "Read", silent, "the button waits for the next event"},
        {"gauge reading", "", silent, "a gauge that does not answer reads 0", {ENXIO}},
        {"gauge battery", "", silent, "the gauge is probed in ROM mode next", {ENXIO}, 0, 0},
        {"gauge reset", "Ioctl", silent, "the gauge may reset before it acknowledges", {ENXIO}, 6},
        {"gauge stream", "Read", silent, "the read is repeated", {EINTR}},
        {"gauge update", "Read", silent, "the read is repeated", {EINTR}},
        {"gauge update", "", silent, "an interrupted update has left it in ROM mode", {}, 0, 9},
        {"tools", "Umount", thrown, "earlier steps are not undone", {}, 0, last, 1},
        {"tools", "Mount", thrown, "earlier steps are not undone", {}, 10, last, 1},
        {"remounting", "Mount", ends, "what is not mounted cannot be unmounted at the end"},
        {"polling", "Mount", ends, "what is not mounted cannot be unmounted at the end"},
        {"unmounting", "", ends, "the mount would outlive its owner"},
        {"disk", "Umount", ends, "the mount would outlive its owner"},
        {"disk", "Rmdir", ends, "the mount would outlive its owner"},
        {"disk", "Open", silent, "a drive works without the licence", {}, 23, 24},
        {"disk", "Open", silent, "an unreadable table lists no mount", {}, 21, 21},
        {"disk", "Open", silent, "an unreadable table lists no mount", {}, 43, 43},
        {"remounting", "Open", silent, "an unreadable table lists no mount"},
        {"tools", "Open", silent, "an unreadable table lists no mount, a folder no process"},
        {"tools", "Getdents", silent, "what cannot be listed is not found"},
        {"drive", "Read", silent, "the read is repeated", {EINTR}, 5, 5},
        {"drive", "Open", thrown, "no slot runs, so none is written", {}, 4, 4, 0, EBADE},
        {"drive", "Read", thrown, "no slot runs, so none is written", {}, 5, 5, 0, EBADE},
        {"drive", "Open", silent, "an unreadable table lists no mount"},
        {"drive", "Read", silent, "an unreadable table lists no mount"},
        {"polling", "Getdents", silent, "tar fails on what cannot be removed"},
        {"polling", "Open", silent, "what was not copied is not unpacked"},
        {"polling", "Read", silent, "what was not copied is not unpacked"},
        {"", "Sendfile", silent, "a copy reports no failure"},
        {"disk", "Ftruncate", thrown, "the device cannot start", {}, 0, last, 1},
        {"adding", "", ends, "a host cannot use an incomplete port"},
        {"binding", "", silent, "the line has no server, or the port no network"},
        {"unbinding", "", ends, "the servers would stay on the network"},
        {"removing", "Open", silent, "without the kernel's number every line is freed"},
        {"removing", "Read", silent, "without the kernel's number every line is freed"},
        {"removing", "Getdents", silent, "the line's users are searched for again"},
        {"removing", "Rename", silent, "the line is freed under its own name"},
        {"removing", "Unlink", silent, "a node without a line stays", {}, 28, 28},
        {"removing", "Waitpid", silent, "the server is gone"},
        {"removing", "Stat", silent, "the line is gone"},
        {"removing", "Write", silent, "the counter that it raises is never full"},
        {"removing", "", ends, "a host cannot use an incomplete port"},
        {"coming up", "Open", silent, "the port works without the vendor function"},
        {"coming up", "Write", silent, "the port works without the vendor function"},
        {"coming up", "Waitpid", thrown, "OnRemove() unmounts", {}, 0, last, 1},
        {"serving", "", silent, "the host sees a stall, or repeats its request"},
        {"polling", "Umount", silent, "the drive is checked again"},
        {"unpacking", "", silent, "the archive is checked again"},
        {"writing", "Read", silent, "the read is repeated", {EINTR}},
        {"writing", "Read", silent, "the partition has been found", {}, 2, 2},
        {"writing", "Read", silent, "the partition has been found", {}, 8, 8},
        {"writing", "Read", silent, "the partition has been found", {}, 14, 14},
        {"writing", "", silent, "the marker may stay as it was", {}, 18, last},
        {"writing", "", thrown, "observers receive no reason", {}, 0, last, 0, EBADE},
    };
}

std::unique_ptr<Faults> Play(const Scenario& scenario, std::size_t failingCall, int withError,
                             std::optional<test::MadeCall> call = {}) {
    auto faults = std::make_unique<Faults>(failingCall, withError, std::move(call));
    try {
        scenario.play(*faults);
    } catch (const Error& error) {
        faults->reported = faults->reported.value_or(error.Value());
    }
    return faults;
}

/** Runs without a fault. A copy interrupted by a signal makes one more call: the shortest counts.
 */
std::unique_ptr<Faults> PlayUndisturbed(const Scenario& scenario) {
    auto fewest = Play(scenario, Faults::none, 0);
    for (int plays = 1; plays < 4; ++plays) {
        auto again = Play(scenario, Faults::none, 0);
        if (again->made.size() < fewest->made.size()) {
            fewest = std::move(again);
        }
    }
    return fewest;
}

/** Fails this call, or cuts its transfer. A copy interrupted by a signal makes one more call. */
std::unique_ptr<Faults> PlayUntilStruck(const Scenario& scenario, std::size_t at, int withError,
                                        const test::MadeCall& call) {
    for (int plays = 0; plays < 50; ++plays) {
        auto faults = Play(scenario, at, withError, call);
        if (faults->HasStruck()) {
            return faults;
        }
    }
    throw std::runtime_error("not the calls of the first run");
}

class FaultSweep : public testing::Test {
protected:
    void SetUp() override {
        VANTOREL_NEED_PRIVATE_MOUNTS();
        root.emplace();
        output.emplace(); // after the root: needs its /tmp
        std::filesystem::create_directory("/kernel");
        test::Must(::mount("/proc", "/kernel", nullptr, MS_BIND | MS_REC, nullptr));
        // Makes every run the same, whatever else runs on this machine.
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

    Promise PromiseOf(const test::MadeCall& call, int error) {
        for (Promise& promise : promises) {
            if ((promise.where.empty() || promise.where == call.where) &&
                (promise.call.empty() || promise.call == call.call) &&
                (promise.errors.empty() || std::ranges::count(promise.errors, error) != 0) &&
                promise.from <= call.index && call.index <= promise.to) {
                promise.used = true;
                return promise;
            }
        }
        return {};
    }

    void Fail(const Scenario& scenario, std::size_t at, const test::MadeCall& call, int error) {
        const Promise promise = PromiseOf(call, error);
        std::ostringstream text;
        text << scenario.name << ", call " << at << ": " << call.where << " " << call.index << ", "
             << call.call << " " << ::strerrorname_np(error);
        current = text.str();
        SCOPED_TRACE(current);
        if (promise.outcome == Outcome::Ends) {
            const auto* const place = std::ranges::find(test::errors, error);
            if (place - std::begin(test::errors) < endsPlayed) {
                EXPECT_EXIT(::alarm(test::hangSeconds); PlayUntilStruck(scenario, at, error, call);
                            ::_exit(0), testing::KilledBySignal(SIGABRT), "");
            }
            return;
        }
        const auto faults = PlayUntilStruck(scenario, at, error, call);
        const int expected = promise.becomes != 0 ? promise.becomes : error;
        EXPECT_EQ(faults->reported.value_or(0), promise.outcome == Outcome::Silent ? 0 : expected);
        // After a failed wait, a child is not waited for again.
        const int children = call.call == "Waitpid" ? 1 : 0;
        EXPECT_LE(faults->Kept(), scenario.kept + promise.keeps + children);
    }

    std::vector<Promise> promises = MakePromises();
    inline static std::string current; // for the message when the process ends unexpectedly
    std::optional<test::PrivateRoot> root;
    std::optional<test::CapturedOutput> output;
};

TEST_F(FaultSweep, KeepsWhatEveryOperationPromises) {
    std::set<std::string_view> reached;
    std::size_t pairs = 0;
    for (const Scenario& scenario : test::Scenarios()) {
        const auto whole = PlayUndisturbed(scenario);
        EXPECT_EQ(whole->reported.value_or(0), 0) << scenario.name;
        EXPECT_EQ(whole->Kept(), scenario.kept) << scenario.name;
        for (std::size_t at = 0; at < whole->made.size(); ++at) {
            reached.insert(whole->made[at].call);
            for (const int error : std::span(test::errors).first(errorsPlayed)) {
                if (pairs++ % stride == 0) {
                    Fail(scenario, at, whole->made[at], error);
                }
            }
        }
    }
    EXPECT_EQ(reached.size(), test::callCount + std::size(test::streamCalls))
        << "a system call is in no scenario";
    for (const Promise& promise : promises) {
        EXPECT_TRUE(promise.used || errorsPlayed < std::ssize(test::errors))
            << "no failure needs the exception: " << promise.reason;
    }
}

// Kernels may transfer fewer bytes than requested. That ends no operation with an error, except an
// update that finds no slot or no partition, and an update is not installed in part.
TEST_F(FaultSweep, ContinuesAfterAShortTransfer) {
    for (const Scenario& scenario : test::Scenarios()) {
        const auto whole = PlayUndisturbed(scenario);
        for (std::size_t at = 0; at < whole->made.size(); ++at) {
            const test::MadeCall& call = whole->made[at];
            if (std::ranges::count(test::transfers, call.call) == 0) {
                continue;
            }
            for (const int cut : {test::cutToNothing, test::cutToOneByte, test::cutByOneByte}) {
                const auto faults = PlayUntilStruck(scenario, at, cut, call);
                EXPECT_TRUE(faults->wasCut) << scenario.name;
                // Nothing read is a file's end: an empty table has no partition to write to, an
                // empty command line no slot.
                const bool isTable = call.where == "writing" && call.index % 6 == 1;
                const bool isSlot = call.where == "drive" && call.index == 5;
                const bool isEmpty =
                    (isTable || isSlot) && call.call == "Read" && cut == test::cutToNothing;
                EXPECT_EQ(faults->reported.value_or(0), isEmpty ? EBADE : 0)
                    << scenario.name << ", " << call.where << ' ' << call.index << ", " << call.call
                    << ", cut " << cut;
                EXPECT_LE(faults->Kept(), scenario.kept) << scenario.name << ' ' << call.call;
            }
        }
    }
}

// Objects of every class, made, used and destroyed: no descriptor, child or mount remains of one
// life, and no memory of thousands.
TEST_F(FaultSweep, LeavesNothingBehindAfterThousandsOfLives) {
    const auto live = [](const Scenario& scenario, int lives) {
        for (int count = 0; count < lives; ++count) {
            EXPECT_EQ(Play(scenario, Faults::none, 0)->Kept(), scenario.kept) << scenario.name;
        }
        return ::mallinfo2().uordblks; // 0 under the address sanitizer
    };
    for (const Scenario& scenario : test::Scenarios()) {
        output->Take();
        const std::size_t before = live(scenario, std::min(100, LivesPlayed()));
        EXPECT_LE(live(scenario, LivesPlayed()), before + 4096) << scenario.name;
    }
}

} // namespace
} // namespace vantorel
