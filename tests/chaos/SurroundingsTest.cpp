// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// The reference application with what a process may get from its parent: an output that nobody
// reads, closed descriptors, ignored signals.

#include "tests/chaos/Life.h"
#include "tests/chaos/Machine.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/syscall.h>

// The unchanged application.
[[noreturn]] void EndOfApplication(int status);
#define main ApplicationMain
#define _exit EndOfApplication
#include "app/Device.cpp"
#include "app/DeviceStop.cpp"
#include "app/StopSteps.cpp"
#include "app/main.cpp"
#undef _exit
#undef main

namespace {

using namespace std::chrono_literals;
using test::Machine;

std::atomic<bool> outputIsFull{false};

int RunApplication() {
    std::string program = "vantorel-app";
    char* arguments[] = {program.data(), nullptr};
    return ApplicationMain(1, arguments);
}

/** Fills the pipe that is the output, and waits until a thread that prints is blocked. */
void FillOutput() {
    const UniqueFd pipe(::open("/proc/self/fd/1", O_WRONLY | O_NONBLOCK | O_CLOEXEC));
    const std::string page(4096, '\n');
    for (const std::size_t size : {page.size(), std::size_t{1}}) {
        while (::write(pipe.Get(), page.data(), size) > 0) {
        }
    }
    while (::ftrylockfile(stdout) == 0) {
        ::funlockfile(stdout);
        std::this_thread::sleep_for(1ms);
    }
    outputIsFull = true;
}

/** A life on battery until SIGTERM. The reader of its output has ended, or stops reading. */
[[noreturn]] void LiveWithoutReader(bool readerHasEnded) {
    static Machine world;
    world.battery = 1;
    ::alarm(2 * test::hangSeconds);
    std::array<int, 2> ends{};
    test::Must(::pipe2(ends.data(), O_CLOEXEC));
    for (const int output : {STDOUT_FILENO, STDERR_FILENO}) {
        test::Must(::dup2(ends[1], output) - output);
    }
    if (readerHasEnded) {
        ::close(ends[0]);
    }
    BlockTerminationSignals();
    std::thread([=] {
        while (world.gaugePolled == 0) {
            std::this_thread::sleep_for(1ms); // waits until all services run
        }
        if (!readerHasEnded) {
            FillOutput();
        }
        ::kill(::getpid(), SIGTERM);
    }).detach();
    std::exit(RunApplication());
}

/** A start that fails at the display, when the devices before it are open. */
[[noreturn]] void StartByACarelessParent() {
    ::alarm(test::hangSeconds);
    for (const int standard : {0, 1, 2}) {
        ::close(standard);
    }
    ::signal(SIGCHLD, SIG_IGN);
    static Machine world;
    world.missing = board::display;
    const int status = RunApplication();
    bool areOpen = true;
    for (const int standard : {0, 1, 2}) {
        areOpen = areOpen && ::fcntl(standard, F_GETFD) != -1;
    }
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(0);
    }
    const bool isReaped = ::waitpid(child, nullptr, 0) == child;
    std::_Exit(status == 1 && areOpen && isReaped ? 0 : 1);
}

// A supervisor that reads the output may be restarted at any time, or Ctrl-S may stop a console.
TEST(Surroundings, NeedNoReaderOfTheOutput) {
    VANTOREL_NEED_PRIVATE_MOUNTS();
    test::PrepareFiles();
    for (const bool readerHasEnded : {true, false}) {
        EXPECT_EQ(test::StatusOf([&] { LiveWithoutReader(readerHasEnded); }), 0) << readerHasEnded;
    }
}

// Messages would be written to the fuel gauge, and no program could be waited for.
TEST(Surroundings, MayLackStandardDescriptorsAndIgnoreTheEndOfChildren) {
    VANTOREL_NEED_PRIVATE_MOUNTS();
    test::PrepareFiles();
    EXPECT_EQ(test::StatusOf(StartByACarelessParent), 0);
}

} // namespace

void EndOfApplication(int status) {
    if (outputIsFull) { // the thread sanitizer's _exit() would flush standard output
        ::syscall(SYS_exit_group, status);
    }
    ::_exit(status);
}
