// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/logger/Logger.h"
#include "tests/support/CameraSimulator.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/ErrorOf.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Unused.h"
#include "vantorel/camera/CameraManager.h"
#include "vantorel/devices/Thermometer.h"
#include "vantorel/logger/LoggerService.h"

#include <gmock/gmock.h>

#include <atomic>
#include <iostream>
#include <locale>
#include <thread>

namespace vantorel {
namespace {

using namespace std::chrono_literals;

/** A locale whose numbers contain commas, the log's column separator. */
struct Commas final : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
};

class LoggerTest : public testing::Test {
protected:
    /** Connects a camera whose frames the logger receives. */
    void ConnectCamera() {
        manager.AddObserver(*logger);
        manager.Start();
        sdk.Connect();
        manager.OnConnectionStateChanged(ConnectionState::NoHost, ConnectionState::Undetermined);
    }
    void Put(std::uint32_t offset, auto value) {
        kirocamera_sim_set_header(offset, &value, sizeof value);
    }
    void TellTemperature(const char* name, float celsius) {
        Thermometer thermometer(name, directory.Write("sensor", "0\n"));
        logger->OnThermometerTemperatureQuery(thermometer, celsius);
    }

    test::CapturedOutput output;
    test::TemporaryDirectory directory;
    test::ManualCamera sdk;
    std::optional<Logger> logger;
    CameraManager manager{0};
};

TEST_F(LoggerTest, CombinesTheReportsOfAllSubjects) {
    const std::locale before = std::locale::global(std::locale({}, new Commas));
    directory.Write("session", "1233");
    logger.emplace(directory / "");
    EXPECT_EQ(logger->CreateEntry().ToString(false, false, ","),
              "0,,0,0,0.0,0,0.0,0.0,0.0,0.0,0.0,0.0,0,0");
    ConnectCamera();
    Put(22, std::uint64_t{1234567890123456789});
    kirocamera_sim_set_header(30, "0123456789AB", 13);
    Put(99, std::uint32_t{4000000000});
    Put(103, std::uint32_t{70000});
    Put(107, -12.34F);
    Put(131, 36.66F);
    ASSERT_EQ(sdk.Frame(), 0);
    // A frame that cannot be converted leaves the previous header.
    kirocamera_sim_set_result("kirocamera_frame_get_frame_by_format", -3);
    Put(131, 99.9F);
    sdk.Frame();
    sdk.Fail(-1);
    sdk.Fail(-1);
    auto& gauge = test::Unused<FuelGauge>();
    logger->OnFuelGaugeLevelQuery(gauge, 100);
    logger->OnFuelGaugeCurrentQuery(gauge, -350);
    logger->OnFuelGaugeVoltageQuery(gauge, 3.87F);
    logger->OnFuelGaugeTemperatureQuery(gauge, 24.95F);
    TellTemperature("thermometer.board", 41.04F);
    TellTemperature("thermometer.cpu", 55.55F);
    TellTemperature("vantorel.thermometer.board", 99.0F);

    LoggerEntry entry = logger->CreateEntry();
    EXPECT_GT(entry.frameRate, 0.0);
    entry.frameRate = 29.96;
    EXPECT_EQ(entry.ToString(true, true, "|"),
              "UPTIME: 1234567890123456789 ns|CID: 0123456789AB|NFIELD: 4000000000|NERR: 2|"
              "FPS: 30.0|TDIODE: 70000|TENV: -12.3 C|TSPOT: 36.7 C|TCPU: 55.5 C|TBRD: 41.0 C|"
              "TBAT: 25.0 C|VBAT: 3.9 V|IBAT: -350 mA|LBAT: 100 %");
    output.Take();
    logger->AddEntry(entry, 1999ms);
    EXPECT_EQ(output.Take(), "SESSION: 1234 " + entry.ToString(true, true, " ") + "\n");
    logger->Flush();
    EXPECT_EQ(directory.Read("debug.csv"),
              "Session ID,Uptime (s),Uptime (ns),ChipID,FPA Frame Count,FPA Error Count,"
              "Framerate (fps),FPA Tdiode (Counts),FPA Temp (degC),FPA Spot Temp (degC),"
              "CPU Temp (degC),Board Temp (degC),Battery Temp (degC),Battery Voltage (V),"
              "Battery Current (+/- mA),Battery Level (%%)\n"
              "1234,1,1234567890123456789,0123456789AB,4000000000,2,30.0,70000,-12.3,36.7,55.5,"
              "41.0,25.0,3.9,-350,100\n");
    std::locale::global(before);
}

struct Witness final : LoggerObserver {
    void OnLoggerNewEntry(Logger&, LoggerEntry& entry) override {
        std::cout << "SHOWN" << std::endl;
        const auto& header = entry.frameHeader;
        torn += std::ranges::count(header, header[0]) != LoggerEntry::headerSize;
        ++entries;
    }
    void OnLoggerError(Logger&, Error&) override {}

    std::atomic<int> entries{0};
    int torn = 0; // headers with differing bytes
};

TEST_F(LoggerTest, ServiceStartsOnlyIfTheFirstStateHasABattery) {
    logger.emplace(directory / "");
    for (int change = 0; change < 36; ++change) {
        const int from = change / 6;
        const int to = change % 6;
        const bool starts = from == 0 && (to == 1 || to == 2);
        Witness witness;
        LoggerService service(*logger, 1ms);
        service.AddObserver(witness);
        service.OnConnectionStateChanged(static_cast<ConnectionState>(to),
                                         static_cast<ConnectionState>(from));
        for (int wait = 0; wait < (starts ? 300'000 : 10) && witness.entries == 0; ++wait) {
            std::this_thread::sleep_for(1ms);
        }
        EXPECT_EQ(witness.entries > 0, starts) << from << " to " << to;
        if (starts) { // the log covers the whole run
            for (const auto later : {ConnectionState::BatteryCharger, ConnectionState::Host,
                                     ConnectionState::NoBattery, ConnectionState::Battery}) {
                service.OnConnectionStateChanged(later, ConnectionState::Battery);
            }
            const int before = witness.entries;
            for (int wait = 0; wait < 300'000 && witness.entries < before + 2; ++wait) {
                std::this_thread::sleep_for(1ms);
            }
            EXPECT_GE(witness.entries, before + 2) << "a later change of the state ended the log";
        }
    } // the destructor stops a running service
}

TEST_F(LoggerTest, ServiceShowsAnEntryBeforeItIsWrittenAndCountsItsIntervals) {
    logger.emplace(directory / "");
    Witness witness;
    LoggerService service(*logger, 1500ms);
    service.AddObserver(witness);
    for (int cycle = 0; cycle < 3; ++cycle) {
        service.ServiceFunction();
    }
    logger->Flush();
    EXPECT_THAT(output.Take(), testing::MatchesRegex("(SHOWN\nSESSION: 1 [^\n]*\n){3}"));
    EXPECT_THAT(directory.Read("debug.csv"),
                testing::ContainsRegex("\n1,0,[^\n]*\n1,1,[^\n]*\n1,3,[^\n]*\n$"));
}

/** Fails at the first entry. */
struct Failing final : LoggerObserver {
    void OnLoggerNewEntry(Logger&, LoggerEntry&) override { throw Error(EIO); }
    void OnLoggerError(Logger&, Error&) override { ADD_FAILURE() << "the service went on"; }
};

TEST_F(LoggerTest, ServicePassesOnTheExceptionOfAnObserver) {
    logger.emplace(directory / "");
    Failing observer;
    LoggerService service(*logger, 1ms);
    service.AddObserver(observer);
    EXPECT_EQ(test::ErrorOf([&] { service.ServiceFunction(); }), EIO);
    logger->Flush();
    EXPECT_THAT(directory.Read("debug.csv"), testing::Not(testing::ContainsRegex("\n1,")));
}

TEST_F(LoggerTest, ServiceNeverSamplesATornHeaderWhileAllSubjectsReport) {
    logger.emplace(directory / "");
    ConnectCamera();
    Witness witness;
    LoggerService service(*logger, 1ms);
    service.AddObserver(witness);
    service.Start();
    // Deliver frames at full speed, together with gauge readings and flushes.
    for (std::uint8_t value = 1; witness.entries < 500; ++value) {
        std::array<std::uint8_t, LoggerEntry::headerSize> bytes;
        bytes.fill(value);
        Put(0, bytes);
        sdk.Frame();
        logger->OnFuelGaugeLevelQuery(test::Unused<FuelGauge>(), value);
        logger->Flush();
    }
    service.Stop();
    EXPECT_EQ(witness.torn, 0);
}

} // namespace
} // namespace vantorel
