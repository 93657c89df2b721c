// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// Watches two thermometers for some seconds. Each service has its own thread, so two threads call
// the observer that they share.
#include "vantorel/devices/Thermometer.h"
#include "vantorel/devices/ThermometerService.h"

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <mutex>
#include <thread>

namespace {

class Printer final : public vantorel::ThermometerObserver {
public:
    void OnThermometerTemperatureQuery(vantorel::Thermometer& thermometer, float celsius) override {
        const std::lock_guard lock(mutex);
        std::cout << thermometer.Name() << ": " << celsius << " C" << std::endl;
    }
    // The service reports a failed reading and continues with the next one.
    void OnThermometerError(vantorel::Thermometer& thermometer, vantorel::Error& error) override {
        const std::lock_guard lock(mutex);
        std::cout << thermometer.Name() << ": " << error.ToString() << std::endl;
    }

private:
    std::mutex mutex;
};

} // namespace

int main(int argc, char** argv) {
    const std::chrono::seconds duration{argc > 1 ? std::atoi(argv[1]) : 3};
    constexpr std::chrono::milliseconds interval{500};
    try {
        vantorel::Thermometer board("board", "/dev/vantorel/temperature-board");
        vantorel::Thermometer processor("processor", "/dev/vantorel/temperature-cpu");
        vantorel::ThermometerService boardService(board, interval);
        vantorel::ThermometerService processorService(processor, interval);
        Printer printer;
        boardService.AddObserver(printer); // always before Start()
        processorService.AddObserver(printer);
        boardService.Start();
        processorService.Start();
        std::this_thread::sleep_for(duration);
        boardService.Stop(); // a service must not be destroyed while it runs
        processorService.Stop();
    } catch (const vantorel::Error& error) {
        std::cerr << "thermometer: " << error.ToString() << std::endl;
        return 1;
    }
}
