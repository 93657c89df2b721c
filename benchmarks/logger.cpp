// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
/**
 * The cost of one log cycle: the sample, its line in the file and its line on standard output. The
 * baseline writes the same two lines with snprintf(), fwrite() and write(), which is close to the
 * minimum. Standard output goes to /dev/null. docs/log-format.md lists the results.
 */
#include "vantorel/logger/Logger.h"
#include "tests/support/CameraSimulator.h"
#include "tests/support/CountedAllocations.h"
#include "tests/support/TemporaryDirectory.h"
#include "vantorel/camera/CameraManager.h"
#include "vantorel/logger/LoggerService.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>

#include <fcntl.h>
#include <unistd.h>

using namespace std::chrono_literals;
using namespace vantorel;

namespace {

/** Redirects the output to /dev/null, one write per line, until its destruction. */
class DiscardedOutput {
public:
    DiscardedOutput() : before(std::cout.rdbuf(null.rdbuf())) {}
    ~DiscardedOutput() { std::cout.rdbuf(before); }

private:
    std::ofstream null{"/dev/null"};
    std::streambuf* before;
};

int StartCounting() {
    test::countAllocations = true;
    return test::allocations;
}

void Count(benchmark::State& state, const std::string& file, int allocationsBefore) {
    const auto cycles = static_cast<double>(state.iterations());
    state.counters["bytes/line"] = static_cast<double>(std::filesystem::file_size(file)) / cycles;
    state.counters["allocations/cycle"] =
        static_cast<double>(test::allocations - allocationsBefore) / cycles;
}

/** Delivers a frame with the header of a camera that has run for three days. */
void GiveFrame(Logger& logger) {
    test::ManualCamera sdk;
    CameraManager manager(0);
    manager.AddObserver(logger);
    manager.Start();
    const auto put = [](std::uint32_t offset, auto value) {
        kirocamera_sim_set_header(offset, &value, sizeof value);
    };
    put(22, std::uint64_t{260123456789012});
    kirocamera_sim_set_header(30, "4B1D0C7A92E5", 13);
    put(99, std::uint32_t{7803703});
    put(103, std::uint32_t{8118});
    put(107, 22.1F);
    put(131, 36.6F);
    sdk.Connect();
    manager.OnConnectionStateChanged(ConnectionState::Battery, ConnectionState::Undetermined);
    sdk.Frame();
}

void Cycle(benchmark::State& state) {
    const test::TemporaryDirectory directory;
    const DiscardedOutput output;
    int before = 0;
    {
        Logger logger(directory / "");
        GiveFrame(logger);
        FuelGauge& nobody = *reinterpret_cast<FuelGauge*>(&state); // never read
        logger.OnFuelGaugeLevelQuery(nobody, 80);
        logger.OnFuelGaugeCurrentQuery(nobody, -350);
        logger.OnFuelGaugeVoltageQuery(nobody, 3.87F);
        logger.OnFuelGaugeTemperatureQuery(nobody, 24.95F);
        LoggerService service(logger, 5000ms);
        before = StartCounting();
        for (auto _ : state) {
            service.ServiceFunction();
        }
    }
    Count(state, directory / "debug.csv", before);
}
BENCHMARK(Cycle)->Unit(benchmark::kMicrosecond);

void BareCycle(benchmark::State& state) {
    const test::TemporaryDirectory directory;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
        std::fopen((directory / "log").c_str(), "a"), &std::fclose);
    const int null = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    const int before = StartCounting();
    unsigned long long uptime = 0;
    for (auto _ : state) {
        char line[512];
        int length = std::snprintf(line, sizeof line,
                                   "%u,%lld,%llu,%s,%u,%u,%.1f,%u,%.1f,%.1f,%.1f,%.1f,%.1f,%.1f,%d,"
                                   "%u\n",
                                   1U, uptime / 1000, 260123456789012ULL, "4B1D0C7A92E5", 7803703U,
                                   0U, 29.9, 8118U, 22.1, 36.6, 0.0, 0.0, 24.95, 3.87, -350, 80U);
        std::fwrite(line, 1, static_cast<std::size_t>(length), file.get());
        length = std::snprintf(
            line, sizeof line,
            "SESSION: %u UPTIME: %llu ns CID: %s NFIELD: %u NERR: %u FPS: %.1f TDIODE: %u TENV: "
            "%.1f C TSPOT: %.1f C TCPU: %.1f C TBRD: %.1f C TBAT: %.1f C VBAT: %.1f V IBAT: %d mA "
            "LBAT: %u %%\n",
            1U, 260123456789012ULL, "4B1D0C7A92E5", 7803703U, 0U, 29.9, 8118U, 22.1, 36.6, 0.0, 0.0,
            24.95, 3.87, -350, 80U);
        benchmark::DoNotOptimize(::write(null, line, static_cast<std::size_t>(length)));
        uptime += 5000;
    }
    ::close(null);
    std::fflush(file.get());
    Count(state, directory / "log", before);
}
BENCHMARK(BareCycle)->Unit(benchmark::kMicrosecond);

} // namespace
