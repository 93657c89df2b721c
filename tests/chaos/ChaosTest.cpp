// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// The reference application under random events: charger, battery, camera, host, buttons and
// failures, from one seed. Each life of the application is a separate process, as on the device.
// A signal or a disconnected camera ends it.
//
// VANTOREL_CHAOS_SEED sets the seed of the first life (1). Without VANTOREL_CHAOS_SECONDS the test
// plays the same few lives every time. With it, the test runs for that time and takes the seed from
// the clock unless one is set. A seed does not repeat the order of the threads, which the thread
// sanitizer does not need.

#include "tests/chaos/Life.h"
#include "tests/chaos/Machine.h"
#include "tests/chaos/StatusLines.h"
#include "tests/support/NoThreads.h"
#include "tests/support/OpenDescriptors.h"

#include <VantorelUI.h>
#include <VantorelUI_sim.h>
#include <kirocamera_sim.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <limits>
#include <random>
#include <thread>
#include <typeinfo>

#include <sys/wait.h>
#include <unistd.h>

// The unchanged application. EndOfApplication() checks it at its exit. PendingSignals() is called
// while the application waits for a camera.
[[noreturn]] void EndOfApplication(int status);
int PendingSignals(sigset_t* signals);
#define main ApplicationMain
#define _exit EndOfApplication
#define sigpending PendingSignals
#include "app/Device.cpp"
#include "app/DeviceStop.cpp"
#include "app/StopSteps.cpp"
#include "app/main.cpp"
#undef sigpending
#undef _exit
#undef main

namespace {

using namespace std::chrono_literals;
using test::Demand;
using test::Machine;
using test::StatusLines;

Machine* machine = nullptr;
StatusLines* statusLines = nullptr;
std::atomic<std::ptrdiff_t> descriptorsAtStart{0};
std::atomic<bool> decidedAtEnd{false};
std::atomic<bool> constructed{false};
int statusAtEnd = 0;
std::function<void()> atWaitForCamera;

std::ptrdiff_t CountThreads() {
    const std::filesystem::directory_iterator entries("/proc/self/task");
    return std::distance(begin(entries), end(entries));
}

/** Causes the events of one life. */
class Player {
public:
    explicit Player(unsigned seed) : random(seed), connected(Up(8) > 0) {
        ::setenv("KIROCAMERA_SIM_CONNECTED", connected ? "1" : "0", 1);
        machine->battery = Up(3) > 0 ? 1 : 0;
        machine->charger = Up(3) == 0 ? 1 : 0;
        machine->configured = Up(2);
    }

    void Live() {
        while (!constructed.load()) {
            std::this_thread::sleep_for(1ms);
        }
        descriptorsAtStart = test::CountOpenDescriptors();
        std::thread([this, hostSeed = static_cast<unsigned>(random())] {
            Host(hostSeed);
        }).detach();
        for (int left = Up(400); left > 0; --left) {
            std::this_thread::sleep_for(std::chrono::microseconds(Up(5000)));
            Happen();
            CheckScreen();
        }
        if (statusLines->sessionWanted && !statusLines->bound) {
            ExpectFrames();
        }
        decidedAtEnd = statusLines->decided.load();
        ::kill(::getpid(), SIGTERM);
        // A host may have stopped more sessions than frames arrived: the exit waits for no frame.
        while (true) {
            ::pause();
        }
    }

private:
    int Up(int limit) { return std::uniform_int_distribution(0, limit - 1)(random); }
    int Sometimes(int value) { return Up(4) == 0 ? value : 0; }

    /** Releases a thread that may wait for a frame and would delay the event. */
    [[noreturn]] static void Release() {
        while (true) {
            ::kirocamera_capture_session_start(::kirocamera_sim_get_camera(),
                                               KIROCAMERA_FORMAT_DISPLAY);
            std::this_thread::sleep_for(5ms);
        }
    }

    /** Commands run in order on the event thread of the camera. */
    static void Camera(const std::string& command) { ::kirocamera_sim_command(command.c_str()); }

    /** Ends the application; the device restarts it. */
    void Disconnect() {
        if (!connected) {
            return;
        }
        std::set_terminate([] {
            try {
                throw;
            } catch (const std::bad_cast&) {
                ::_exit(0);
            } catch (...) {
                std::abort();
            }
        });
        Camera("disconnect");
        Release();
    }

    void Happen() {
        static constexpr int keys[] = {board::powerKey, board::torchKey, board::resetKey};
        static constexpr int errors[] = {EIO, ETIMEDOUT, ENXIO, EBUSY, EINTR, ENODEV};
        const int error = errors[Up(6)];
        const std::function<void()> rare[] = {
            [&] { machine->charger = Up(2); }, [&] { machine->battery = Up(2); },
            [&] { machine->configured = Up(2); }, [&] { Disconnect(); }};
        const std::function<void()> events[] = {
            [&] { machine->level = Up(256); }, [&] { machine->temperature = Up(200'000) - 50'000; },
            [&] { machine->chargerError = Sometimes(error); },
            [&] { machine->temperatureError = Sometimes(error); },
            [&] { machine->portError = Sometimes(error); },
            // The device does not start if its gauge cannot be reset.
            [&] { machine->gaugeError = machine->gaugePolled > 0 ? error : 0; },
            [&] { machine->displayError = error; },
            [&] { Camera("rate " + std::to_string(20 + Up(220))); },
            [&] {
                Camera(std::exchange(connected, true) ? "error " + std::to_string(-Up(10))
                                                      : "connect");
            },
            [&] { ::vantorelui_sim_event(Up(4)); },
            [&] {
                std::ofstream(std::string(Machine::driveDirectory) + "THERMAL.STR") << "archive";
            },
            [&] { machine->Key(keys[Up(3)], Up(3)); }, [&] { machine->Key(keys[Up(3)], Up(3)); }};
        Up(40) == 0 ? rare[Up(4)]() : events[Up(13)]();
    }

    void CheckScreen() {
        static constexpr int follow[6] = {077, 076, 074, 050, 060, 040}; // bits of next screens
        const int now = ::vantorelui_sim_screen();
        Demand((follow[screen] >> now & 1) != 0, "transition between screens");
        screen = now;
    }

    /** The user interface shows the temperature of every fifth frame. */
    void ExpectFrames() {
        ::vantorelui_sim_log(true);
        std::size_t next = 0;
        Demand(test::Eventually([&] {
                   for (vantorelui_sim_call_t call; ::vantorelui_sim_log_get(next, &call); ++next) {
                       if (std::string_view(call.function) == "SetReadoutTemp") {
                           return true;
                       }
                   }
                   return false;
               }),
               "frames reach the screen");
    }

    void Host(unsigned seed) {
        std::mt19937 dice(seed);
        while (true) {
            static constexpr std::array<std::uint8_t, 3> rows[] = {
                {53, 4, 0},  {54, 12, 0}, {60, 2, 1},  {61, 2, 0},  {63, 2, 0},
                {78, 36, 0}, {78, 2, 0},  {78, 66, 0}, {84, 2, 1},  {85, 2, 1},
                {86, 6, 1},  {88, 64, 0}, {93, 64, 0}, {200, 9, 0}, {78, 64, 0}};
            const auto& [request, length, isOut] = rows[dice() % std::size(rows)];
            test::Bytes data(length);
            data[0] = static_cast<std::uint8_t>(request == 85 ? dice() % 28 : dice() % 4);
            isOut != 0 ? machine->endpoint.Out(request, data)
                       : machine->endpoint.In(request, length);
            std::this_thread::sleep_for(std::chrono::microseconds(dice() % 3000));
        }
    }

    std::mt19937 random;
    bool connected;
    int screen = 0;
};

constexpr unsigned livesPlayed = 8; // about four seconds

[[noreturn]] void Live(unsigned seed) {
    static Machine world;
    static StatusLines lines;
    machine = &world;
    statusLines = &lines;
    static Player player(seed);
    std::cout.rdbuf(&lines);
    ::alarm(2 * test::hangSeconds); // ends a hang
    BlockTerminationSignals();      // also in the test's threads
    std::thread([] { player.Live(); }).detach();
    Run(false);
}

/** A life whose last service cannot be started. */
[[noreturn]] void LiveWithoutLastService() {
    static Machine world;
    ::alarm(2 * test::hangSeconds);
    ::setenv("KIROCAMERA_SIM_CONNECTED", "0", 1);
    descriptorsAtStart = std::numeric_limits<int>::max();
    statusAtEnd = 1;
    atWaitForCamera = [] {
        test::AllowNoThreads();
        ::kirocamera_sim_command("connect"); // ends the wait
    };
    Run(false);
}

/** Starts the application in a separate process, which exits with 1. Returns its messages. */
std::string MessagesWithout(const std::string& missing) {
    constexpr const char* file = "/tmp/messages";
    const auto start = [&] {
        ::alarm(test::hangSeconds);
        static_cast<void>(::dup2(::open(file, O_WRONLY | O_CREAT | O_TRUNC, 0600), 2));
        Machine world;
        world.missing = missing;
        std::string program = "vantorel-app";
        char* arguments[] = {program.data(), nullptr};
        std::exit(ApplicationMain(1, arguments));
    };
    EXPECT_EQ(test::StatusOf(start), 1 << 8) << missing;
    return test::ReadFile(file);
}

// A new board may lack a node or name it differently. The port is opened when the display already
// runs.
TEST(Start, NamesTheDeviceThatIsMissing) {
    VANTOREL_NEED_PRIVATE_MOUNTS();
    test::PrepareFiles();
    const std::pair<std::string, std::string> devices[] = {
        {board::charger, "vantorel.charger"},
        {board::fuelGaugeBus, "vantorel.fuelgauge"},
        {board::buttons, board::powerButtonName},
        {board::torch, "vantorel.torch"},
        {board::display, "vantorel.lcd"},
        {board::boardTemperature, board::boardThermometerName},
        {board::processorTemperature, board::processorLogThermometerName},
        {"/sys/class/udc/", "vantorel.usb"}};
    for (const char* file : {"/etc/kiro/version", "/etc/kiro/revision"}) {
        EXPECT_EQ(MessagesWithout(file), "Cannot start: /etc/kiro/version or /etc/kiro/revision is "
                                         "missing or not valid\n");
    }
    for (const auto& [path, name] : devices) {
        const std::string messages = MessagesWithout(path);
        const bool isPort = name == "vantorel.usb"; // the controller has a name, not a path
        const std::string where = isPort ? board::usbController : path;
        EXPECT_TRUE(messages.starts_with("Cannot start: " + name + " (" + where)) << messages;
        EXPECT_TRUE(messages.ends_with("): No such file or directory (2)\n")) << messages;
    }
}

// The services that run already must not be destroyed: that would abort without a message.
TEST(Start, EndsOrderlyWhenAServiceCannotBeStarted) {
    VANTOREL_NEED_PRIVATE_MOUNTS();
    test::PrepareFiles();
    EXPECT_EQ(test::StatusOf(LiveWithoutLastService), 1 << 8);
}

// An update is not cut when the process may not have another thread.
TEST(Stop, RunsAStepThatMustNotBeLeftOutWithoutAThread) {
    const pthread_attr_t before = test::AllowNoThreads();
    bool stopped = false;
    EXPECT_FALSE(app::StopSteps::Begin([&] { stopped = true; }).valid());
    EXPECT_FALSE(stopped);
    EXPECT_TRUE(app::StopSteps::Begin([&] { stopped = true; }, true).valid());
    EXPECT_TRUE(stopped);
    test::Must(::pthread_setattr_default_np(&before));
}

TEST(Chaos, ApplicationSurvivesRandomEvents) {
    VANTOREL_NEED_PRIVATE_MOUNTS();
    test::PrepareFiles();
    const char* seconds = std::getenv("VANTOREL_CHAOS_SECONDS");
    const char* first = std::getenv("VANTOREL_CHAOS_SEED");
    const bool byTime = seconds != nullptr;
    auto seed = static_cast<unsigned>(first != nullptr ? std::stol(first)
                                      : byTime         ? ::time(nullptr)
                                                       : 1);
    std::cout << "VANTOREL_CHAOS_SEED=" << seed << std::endl;
    const unsigned afterLast = seed + livesPlayed;
    const auto end =
        std::chrono::steady_clock::now() + std::chrono::seconds(byTime ? std::stoi(seconds) : 0);
    for (; byTime ? std::chrono::steady_clock::now() < end : seed != afterLast; ++seed) {
        ASSERT_EQ(test::StatusOf([&] { Live(seed); }), 0) << "VANTOREL_CHAOS_SEED=" << seed;
    }
}

} // namespace

int PendingSignals(sigset_t* signals) {
    constructed = true; // the application calls this when it has constructed everything
    if (const auto act = std::exchange(atWaitForCamera, nullptr)) {
        act();
    }
    return ::sigpending(signals);
}

void EndOfApplication(int status) {
    Demand(status == statusAtEnd, "exit status");
    Demand(test::CountOpenDescriptors() <= descriptorsAtStart, "descriptors");
    // The remaining threads: this one, the display's, three for buttons, two for the camera, the
    // user interface's for held buttons, the player, the host and two of the sanitizer. Before the
    // first decision, one more may wait for a camera.
    Demand(!decidedAtEnd || test::Eventually([] { return CountThreads() <= 12; }),
           "other threads have ended");
    const std::string log = test::ReadFile("/tmp/var/log/debug.csv");
    Demand(log.ends_with('\n') &&
               std::ranges::count(log, ',') == 15 * std::ranges::count(log, '\n'),
           "whole lines in the log");
    ::_exit(status);
}
