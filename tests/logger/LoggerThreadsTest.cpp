#include "tests/support/CameraSimulator.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Unused.h"
#include "vantorel/camera/CameraManager.h"
#include "vantorel/devices/Thermometer.h"
#include "vantorel/logger/Logger.h"
#include "vantorel/logger/LoggerService.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <thread>

namespace vantorel {
namespace {

using namespace std::chrono_literals;

// Each frame's header holds one value in all of its bytes; a sample with two values is torn.
class HeaderWatcher final : public LoggerObserver {
public:
    void OnLoggerNewEntry(Logger&, LoggerEntry& entry) override {
        const auto& header = entry.frameHeader;
        torn += std::ranges::count(header, header[0]) != LoggerEntry::headerSize;
        changes += header[0] != last;
        last = header[0];
        ++entries;
    }
    void OnLoggerError(Logger&, Error&) override {}

    std::atomic<int> torn{0};
    std::atomic<int> changes{0};
    std::atomic<int> entries{0};

private:
    std::uint8_t last = 0;
};

TEST(LoggerThreads, ServiceNeverSamplesATornHeaderWhileAllSubjectsReport) {
    const test::CapturedOutput output;
    test::ManualCamera sdk;
    test::TemporaryDirectory directory;
    Thermometer thermometer("thermometer.cpu", directory.Write("sensor", "0\n"));
    Logger logger(directory / "");
    CameraManager manager(0);
    manager.AddObserver(logger);
    manager.Start();
    sdk.Connect();
    manager.OnConnectionStateChanged(ConnectionState::NoHost, ConnectionState::Undetermined);
    HeaderWatcher watcher;
    LoggerService service(logger, 1ms);
    service.AddObserver(watcher);
    service.OnConnectionStateChanged(ConnectionState::Battery, ConnectionState::Undetermined);
    std::array<std::uint8_t, LoggerEntry::headerSize> bytes;
    // As fast as frames can be made; the gauge and the flush before a power-off beside them.
    for (std::uint8_t value = 1; watcher.entries < 500; ++value) {
        bytes.fill(value);
        kirocamera_sim_set_header(0, bytes.data(), bytes.size());
        sdk.Frame();
        logger.OnFuelGaugeLevelQuery(test::Unused<FuelGauge>(), value);
        logger.OnFuelGaugeVoltageQuery(test::Unused<FuelGauge>(), value);
        logger.OnThermometerTemperatureQuery(thermometer, value);
        logger.Flush();
    }
    service.Stop();
    EXPECT_EQ(watcher.torn, 0);
    EXPECT_GT(watcher.changes, 10) << "the two hardly met";
}

} // namespace
} // namespace vantorel
