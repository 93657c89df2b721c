// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
/**
 * The time from a key event in the kernel to the LED's change, through the library and, for
 * comparison, through a bare program that only calls read() and write(). The virtual board records
 * both times.
 */
#include "tests/device/Board.h"
#include "vantorel/devices/Button.h"
#include "vantorel/devices/ButtonService.h"
#include "vantorel/devices/Torch.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <linux/input.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace vantorel;
using namespace std::chrono_literals;
using test::Board;

namespace {

constexpr const char* buttons = "/dev/vantorel/buttons";
constexpr const char* torchDirectory = "/sys/class/leds/vantorel-torch/";
constexpr const char* brightness = "/sys/class/leds/vantorel-torch/brightness";
constexpr int torchKey = KEY_LIGHTS_TOGGLE;
constexpr int phases = 4;          // of each kind, alternating under the same load
constexpr int roundsOfAPhase = 50; // 200 rounds in total

class Switch final : public ButtonObserver {
public:
    explicit Switch(Torch& switched) : torch(switched) {}
    void OnButtonDown(Button&) override { torch.Toggle(); }
    void OnButtonUp(Button&) override {}
    void OnButtonError(Button&, Error&) override {}

private:
    Torch& torch;
};

void Key(int value) {
    Board::Do("key " + std::to_string(torchKey) + " " + std::to_string(value));
}

std::int64_t Time(const char* name) {
    return std::stoll(Board::State(name));
}

/** Presses the button repeatedly; the other side has 40 ms to switch the LED. */
void Measure(std::vector<std::int64_t>& nanoseconds) {
    std::this_thread::sleep_for(200ms); // until the other side waits
    for (int round = 0; round < roundsOfAPhase; ++round) {
        Key(1);
        std::this_thread::sleep_for(40ms); // an earlier read would disturb the measurement
        const std::int64_t passed = Time("led-time") - Time("key-time");
        if (passed <= 0) {
            std::fprintf(stderr, "the LED did not change within 40 ms\n");
            std::exit(1);
        }
        nanoseconds.push_back(passed);
        Key(0);
        std::this_thread::sleep_for(10ms);
    }
}

void MeasureLibrary(std::vector<std::int64_t>& nanoseconds) {
    Button button("torch", buttons, torchKey);
    Torch torch("torch", torchDirectory);
    Switch observer(torch);
    ButtonService service(button);
    service.AddObserver(observer);
    service.Start();
    Measure(nanoseconds);
    const std::jthread releases([](const std::stop_token& end) {
        while (!end.stop_requested()) {
            Key(2); // ends a wait without a report
            std::this_thread::sleep_for(10ms);
        }
    });
    service.Stop();
}

[[noreturn]] void SwitchBare() {
    const int events = ::open(buttons, O_RDONLY);
    const int led = ::open(brightness, O_RDWR);
    char position = '0';
    if (events < 0 || led < 0 || ::read(led, &position, 1) != 1) {
        ::_exit(1);
    }
    input_event event{};
    while (::read(events, &event, sizeof event) == ssize_t{sizeof event}) {
        if (event.code == torchKey && event.value == 1) {
            position = position == '0' ? '1' : '0';
            if (::write(led, &position, 1) != 1) {
                break;
            }
        }
    }
    ::_exit(1);
}

void MeasureBare(std::vector<std::int64_t>& nanoseconds) {
    const pid_t child = ::fork();
    if (child == 0) {
        SwitchBare();
    }
    Measure(nanoseconds);
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
}

void Print(const char* name, std::vector<std::int64_t>& nanoseconds) {
    std::sort(nanoseconds.begin(), nanoseconds.end());
    const auto microseconds = [&](std::size_t index) {
        return static_cast<double>(nanoseconds[index]) / 1000.0;
    };
    const std::size_t count = nanoseconds.size();
    std::printf("%-8s %zu rounds: median %.0f us, 90 %% within %.0f us, worst %.0f us\n", name,
                count, microseconds(count / 2), microseconds(count * 9 / 10),
                microseconds(count - 1));
}

} // namespace

int main() {
    if (!Board::IsThere()) {
        std::fprintf(stderr, "needs the virtual board\n");
        return 1;
    }
    std::vector<std::int64_t> bare;
    std::vector<std::int64_t> library;
    for (int phase = 0; phase < phases; ++phase) {
        MeasureBare(bare);
        MeasureLibrary(library);
    }
    Print("bare", bare);
    Print("library", library);
}
