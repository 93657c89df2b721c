// Uses the installed package as a stranger would: catches the library's exception across its
// border, runs a service, and implements an observer.
#include <vantorel/devices/Thermometer.h>
#include <vantorel/devices/ThermometerService.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>
#include <thread>

namespace {

struct Watcher final : vantorel::ThermometerObserver {
    void OnThermometerTemperatureQuery(vantorel::Thermometer&, float celsius) override {
        latest = celsius;
    }
    void OnThermometerError(vantorel::Thermometer&, vantorel::Error&) override {}
    std::atomic<float> latest{0.0F};
};

bool ErrorsAreCaught() {
    try {
        vantorel::Thermometer missing("missing", "/nowhere");
    } catch (const vantorel::Error& error) {
        return error.Value() == ENOENT;
    }
    return false;
}

} // namespace

int main(int, char** arguments) {
    const std::string attribute = std::string(arguments[0]) + ".temperature";
    std::ofstream(attribute) << "45123\n";
    vantorel::Thermometer thermometer("board", attribute);
    vantorel::ThermometerService service(thermometer, std::chrono::milliseconds(1));
    Watcher watcher;
    service.AddObserver(watcher);
    service.Start();
    for (int wait = 0; wait < 1000 && watcher.latest == 0.0F; ++wait) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    service.Stop();
    const bool right = watcher.latest == 45.123F && ErrorsAreCaught();
    std::puts(right ? "consumer: ok" : "consumer: FAILED");
    return right ? 0 : 1;
}
