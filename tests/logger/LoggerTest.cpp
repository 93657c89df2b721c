#include "vantorel/logger/Logger.h"
#include "tests/support/CameraSimulator.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Unused.h"
#include "vantorel/camera/CameraManager.h"
#include "vantorel/devices/Thermometer.h"
#include "vantorel/logger/LoggerService.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <iostream>
#include <locale>
#include <optional>
#include <thread>

namespace vantorel {
namespace {

using namespace std::chrono_literals;
using testing::StartsWith;

constexpr const char* columns =
    "Session ID,Uptime (s),Uptime (ns),ChipID,FPA Frame Count,FPA Error Count,Framerate (fps),"
    "FPA Tdiode (Counts),FPA Temp (degC),FPA Spot Temp (degC),CPU Temp (degC),Board Temp (degC),"
    "Battery Temp (degC),Battery Voltage (V),Battery Current (+/- mA),Battery Level (%%)\n";

/** A locale in which numbers have commas, the mark between the log's columns. */
struct Commas final : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
};

class LoggerTest : public testing::Test {
protected:
    Thermometer& Named(const char* name) {
        thermometer.emplace(name, directory.Write("sensor", "0\n"));
        return *thermometer;
    }

    test::CapturedOutput output;
    test::TemporaryDirectory directory;
    std::optional<Thermometer> thermometer;
};

TEST_F(LoggerTest, WritesSixteenColumnsOfZerosBeforeAnythingIsKnown) {
    {
        Logger logger(directory / "new/");
        LoggerEntry entry = logger.CreateEntry();
        logger.AddEntry(entry, 1999ms);
    }
    EXPECT_EQ(directory.Read("new/debug.csv"),
              std::string(columns) + "1,1,0,,0,0,0.0,0,0.0,0.0,0.0,0.0,0.0,0.0,0,0\n");
}

TEST_F(LoggerTest, JoinsWhatAllSubjectsReported) {
    const std::locale before = std::locale::global(std::locale({}, new Commas));
    directory.Write("session", "1233");
    test::ManualCamera sdk;
    Logger logger(directory / "");
    EXPECT_EQ(directory.Read("session"), "1234\n");
    CameraManager manager(0);
    manager.AddObserver(logger);
    manager.Start();
    const auto put = [](std::uint32_t offset, auto value) {
        kirocamera_sim_set_header(offset, &value, sizeof value);
    };
    put(22, std::uint64_t{1234567890123456789});
    kirocamera_sim_set_header(30, "0123456789AB", 13);
    put(99, std::uint32_t{4000000000});
    put(103, std::uint32_t{70000});
    put(107, -12.34F);
    put(131, 36.66F);
    sdk.Connect();
    manager.OnConnectionStateChanged(ConnectionState::Battery, ConnectionState::Undetermined);
    ASSERT_EQ(sdk.Frame(), 0);
    sdk.Frame();
    sdk.Fail(-1);
    logger.OnFuelGaugeLevelQuery(test::Unused<FuelGauge>(), 100);
    logger.OnFuelGaugeCurrentQuery(test::Unused<FuelGauge>(), -350);
    logger.OnFuelGaugeVoltageQuery(test::Unused<FuelGauge>(), 3.87F);
    logger.OnFuelGaugeTemperatureQuery(test::Unused<FuelGauge>(), 24.95F);
    logger.OnThermometerTemperatureQuery(Named("thermometer.board"), 41.04F);
    logger.OnThermometerTemperatureQuery(Named("thermometer.cpu"), 55.55F);
    logger.OnThermometerTemperatureQuery(Named("vantorel.thermometer.board"), 99.0F);

    LoggerEntry entry = logger.CreateEntry();
    EXPECT_GT(entry.frameRate, 0.0);
    entry.frameRate = 29.96;
    EXPECT_EQ(entry.ToString(true, true, "|"),
              "UPTIME: 1234567890123456789 ns|CID: 0123456789AB|NFIELD: 4000000000|NERR: 1|"
              "FPS: 30.0|TDIODE: 70000|TENV: -12.3 C|TSPOT: 36.7 C|TCPU: 55.5 C|TBRD: 41.0 C|"
              "TBAT: 25.0 C|VBAT: 3.9 V|IBAT: -350 mA|LBAT: 100 %");
    output.Take();
    logger.AddEntry(entry, 0ms);
    const std::string printed = output.Take();
    EXPECT_THAT(printed, StartsWith("SESSION: 1234 UPTIME: 1234567890123456789 ns CID: "));
    EXPECT_THAT(printed, testing::EndsWith(" LBAT: 100 %\n"));
    std::locale::global(before);
}

TEST_F(LoggerTest, KeepsTheOldHeaderWhenAFrameCannotBeConverted) {
    test::ManualCamera sdk;
    Logger logger(directory / "");
    CameraManager manager(0);
    manager.AddObserver(logger);
    manager.Start();
    sdk.Connect();
    manager.OnConnectionStateChanged(ConnectionState::NoHost, ConnectionState::Undetermined);
    sdk.Frame();
    const auto before = logger.CreateEntry().frameHeader;
    kirocamera_sim_set_result("kirocamera_frame_get_frame_by_format", -3);
    sdk.Frame();
    EXPECT_EQ(logger.CreateEntry().frameHeader, before);
}

class PrintingObserver final : public LoggerObserver {
public:
    void OnLoggerNewEntry(Logger&, LoggerEntry&) override {
        ++entries;
        std::cout << "SHOWN" << std::endl;
    }
    void OnLoggerError(Logger&, Error&) override {}
    std::atomic<int> entries{0};
};

TEST_F(LoggerTest, ServiceStartsOnlyByAFirstChangeIntoABatteryState) {
    Logger logger(directory / "");
    for (int change = 0; change < 36; ++change) {
        const int from = change / 6;
        const int to = change % 6;
        const bool starts = from == 0 && (to == 1 || to == 2);
        PrintingObserver observer;
        LoggerService service(logger, 1ms);
        service.AddObserver(observer);
        service.OnConnectionStateChanged(static_cast<ConnectionState>(to),
                                         static_cast<ConnectionState>(from));
        for (int wait = 0; wait < (starts ? 5000 : 10) && observer.entries == 0; ++wait) {
            std::this_thread::sleep_for(1ms);
        }
        EXPECT_EQ(observer.entries > 0, starts) << from << " to " << to;
    } // its destruction ends a running service
}

TEST_F(LoggerTest, ServiceShowsAnEntryBeforeItIsWrittenAndCountsItsIntervals) {
    {
        Logger logger(directory / "");
        PrintingObserver observer;
        LoggerService service(logger, 1500ms);
        service.AddObserver(observer);
        for (int cycle = 0; cycle < 3; ++cycle) {
            service.ServiceFunction();
        }
    }
    EXPECT_THAT(output.Take(), testing::MatchesRegex("(SHOWN\nSESSION: 1 [^\n]*\n){3}"));
    EXPECT_THAT(directory.Read("debug.csv"),
                testing::ContainsRegex("\n1,0,[^\n]*\n1,1,[^\n]*\n1,3,[^\n]*\n$"));
}

} // namespace
} // namespace vantorel
