// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
/**
 * The cost of events at different rates: buttons, thermometers, the log and frames at one, ten and
 * a hundred times a device's usual rate, in parallel threads as on the device. Prints a line for
 * each: name, rate, events, nanoseconds of the service's own thread per event; and after each rate
 * the heap's bytes in use. Needs private mounts, which ./bench provides. A rate lasts 4 s, or the
 * milliseconds of the argument.
 */
#include "tests/support/CameraSimulator.h"
#include "tests/ui/DeviceFiles.h"
#include "vantorel/camera/CameraManager.h"
#include "vantorel/devices/Button.h"
#include "vantorel/devices/ButtonService.h"
#include "vantorel/devices/Thermometer.h"
#include "vantorel/devices/ThermometerService.h"
#include "vantorel/logger/Logger.h"
#include "vantorel/logger/LoggerService.h"
#include "vantorel/service/LoggerObserver.h"
#include "vantorel/service/ThermometerObserver.h"
#include "vantorel/ui/UserInterfaceManager.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <thread>

#include <fcntl.h>
#include <linux/input-event-codes.h>
#include <malloc.h>
#include <unistd.h>

using namespace vantorel;
using namespace std::chrono_literals;

namespace {

constexpr int keyCode = KEY_LIGHTS_TOGGLE;

std::int64_t ThreadTime() {
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

/** Measures the processor time of the event thread from its first event to its last. */
class Meter : public ButtonObserver, public ThermometerObserver, public LoggerObserver {
public:
    void OnButtonUp(Button&) override { Note(); }
    void OnButtonDown(Button&) override { Note(); }
    void OnButtonError(Button&, Error&) override {}
    void OnThermometerTemperatureQuery(Thermometer&, float) override { Note(); }
    void OnThermometerError(Thermometer&, Error&) override {}
    void OnLoggerNewEntry(Logger&, LoggerEntry&) override { Note(); }
    void OnLoggerError(Logger&, Error&) override {}

    void Print(const char* name, int rate) const {
        const int count = events - 1;
        std::fprintf(stderr, "%s %d %d %.0f\n", name, rate, count,
                     count > 0 ? static_cast<double>(last - first) / count : 0.0);
    }

private:
    void Note() {
        last = ThreadTime();
        if (events++ == 0) {
            first = last;
        }
    }
    int events = 0;
    std::int64_t first = 0;
    std::int64_t last = 0;
};

/** Two of these measure the frame observers that are registered between them. */
class FrameMeter final : public CameraObserver {
public:
    explicit FrameMeter(FrameMeter* first) : begin(first) {}
    void OnCameraFrameAvailable(Camera&, kirocamera_frame_t*) override {
        time = ThreadTime();
        if (begin != nullptr) {
            spent += time - begin->time;
            ++events;
        }
    }
    void Print(const char* name, int rate) const {
        std::fprintf(stderr, "%s %d %d %.0f\n", name, rate, events,
                     events > 0 ? static_cast<double>(spent) / events : 0.0);
    }

private:
    FrameMeter* const begin;
    std::int64_t time = 0;
    std::int64_t spent = 0;
    int events = 0;
};

/** Presses and releases the key through a pipe that replaces the input device. */
void Press(int device, std::chrono::milliseconds interval, const std::stop_token& end) {
    for (int value = 1; !end.stop_requested(); value ^= 1) {
        InputEventRecord event{};
        event.type = EV_KEY;
        event.code = keyCode;
        event.value = value;
        if (::write(device, &event, sizeof event) != ssize_t{sizeof event}) {
            std::abort();
        }
        std::this_thread::sleep_for(interval);
    }
}

void Run(int rate, UserInterfaceManager& userInterface, std::chrono::milliseconds duration) {
    const auto interval = [rate](int milliseconds) {
        return std::chrono::milliseconds(milliseconds / rate);
    };
    test::MakeFifo("/tmp/buttons");
    Meter buttons, temperatures, lines;
    FrameMeter framesBegin(nullptr);
    FrameMeter frames(&framesBegin);
    const int device = ::open("/tmp/buttons", O_RDWR | O_CLOEXEC);
    test::WriteFile("/tmp/temperature", "36500\n");
    Button button("button", "/tmp/buttons", keyCode);
    ButtonService buttonService(button);
    Thermometer thermometer("thermometer", "/tmp/temperature");
    ThermometerService thermometerService(thermometer, interval(1000));
    Logger logger("/tmp/log/");
    LoggerService loggerService(logger, interval(1000));
    setenv("KIROCAMERA_SIM_RATE", std::to_string(2 * rate).c_str(), 1);
    std::optional<CameraManager> camera(0);

    buttonService.AddObserver(buttons);
    thermometerService.AddObserver(temperatures);
    loggerService.AddObserver(lines);
    camera->AddObserver(framesBegin);
    camera->AddObserver(userInterface);
    camera->AddObserver(frames);

    std::jthread presses([&](const std::stop_token& end) { Press(device, interval(100), end); });
    buttonService.Start();
    thermometerService.Start();
    loggerService.Start();
    camera->Start();
    std::this_thread::sleep_for(100ms);
    camera->OnConnectionStateChanged(ConnectionState::Battery, ConnectionState::Undetermined);
    std::this_thread::sleep_for(duration);
    buttonService.Stop();
    presses = {};
    thermometerService.Stop();
    loggerService.Stop();
    const auto heap = ::mallinfo2().uordblks;
    camera.reset(); // its thread writes to the meters
    buttons.Print("button", rate);
    temperatures.Print("thermometer", rate);
    lines.Print("log", rate);
    frames.Print("frame", rate);
    std::fprintf(stderr, "heap %d 0 %zu\n", rate, heap);
    ::close(device);
    ::unlink("/tmp/buttons");
}

} // namespace

int main(int count, char** arguments) {
    const auto duration = count == 2 ? std::chrono::milliseconds(std::atoi(arguments[1])) : 4s;
    test::ReplaceDeviceFiles("REV-6", "1.5.0");
    // The results go to standard error; the library's status lines are discarded.
    if (::dup2(::open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO) < 0) {
        return 1;
    }
    kirocamera_sim_reset();
    UserInterfaceManager userInterface;
    for (const int rate : {1, 10, 100}) {
        Run(rate, userInterface, duration);
    }
    ::_exit(0);
}
