// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/logger/LoggerEntry.h"
#include "vantorel/service/CameraObserver.h"
#include "vantorel/service/FuelGaugeObserver.h"
#include "vantorel/service/Mutex.h"
#include "vantorel/service/ThermometerObserver.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <string>

namespace vantorel {

/**
 * The device's diagnostics log: the file "debug.csv" in a directory, one line per sample, with a
 * labelled copy of each line on standard output. It stores the latest values that its subjects
 * report; a LoggerService takes the samples.
 *
 * Each run is a session. The file "session" beside the log contains the number of the last one;
 * every construction increments it.
 *
 * Only thermometers named exactly "thermometer.board" and "thermometer.cpu" are recorded.
 *
 * Thread-safe, except that only the sampling thread may call AddEntry(). The observer operations
 * run on the threads of their subjects and may run while a sample is taken; the frame header is
 * exchanged as a whole.
 */
class VANTOREL_EXPORT Logger final : public CameraObserver,
                                     public FuelGaugeObserver,
                                     public ThermometerObserver {
public:
    /**
     * @param directory prefix of the file names, so it must end in a slash. Its last
     *     component is created when it is missing, with mode 0600.
     * @throws Error the directory's errno, or 5 (EIO) when "debug.csv" cannot be opened
     */
    explicit Logger(std::string directory);
    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;
    ~Logger() override;

    /** Returns a sample of the current values. Thread-safe. */
    LoggerEntry CreateEntry() const;

    /**
     * Appends a line to "debug.csv" and prints it. The line stays in the stream's buffer; write
     * failures are not reported.
     * @param entry the sample
     * @param uptime the sampling service's uptime, logged in whole seconds
     */
    void AddEntry(LoggerEntry& entry, std::chrono::milliseconds uptime);

    /**
     * Writes the buffered lines, up to 8 KiB, to the file. Call it before the power is turned off,
     * and before the end of a process that does not destroy its logger. Thread-safe.
     */
    void Flush() VANTOREL_EXCLUDES(logMutex);

    void OnCameraFrameAvailable(Camera& camera, kirocamera_frame_t* frame) noexcept override;
    void OnCameraError(Camera& camera, kirocamera_error_t error) override;

    void OnFuelGaugeLevelQuery(FuelGauge& gauge, std::uint8_t level) override;
    void OnFuelGaugeCurrentQuery(FuelGauge& gauge, std::int16_t current) override;
    void OnFuelGaugeVoltageQuery(FuelGauge& gauge, float voltage) override;
    void OnFuelGaugeTemperatureQuery(FuelGauge& gauge, float temperature) override;
    void OnFuelGaugeError(FuelGauge& gauge, Error& error) override;

    void OnThermometerTemperatureQuery(Thermometer& thermometer, float temperature) override;
    void OnThermometerError(Thermometer& thermometer, Error& error) override;

private:
    using FrameHeader = std::array<std::uint8_t, LoggerEntry::headerSize>;

    void WriteColumnNames() VANTOREL_REQUIRES(logMutex);
    void BeginSession();

    std::string logDirectory;
    std::uint32_t sessionId = 0;
    std::ofstream log VANTOREL_GUARDED_BY(logMutex);
    std::ofstream kernelLog;    // opened but never written: part of the binary interface
    std::ifstream sessionInput; // unused, like the next: part of the binary interface
    std::ofstream sessionOutput;
    std::atomic<std::int16_t> batteryCurrent{0};
    std::atomic<std::uint8_t> batteryLevel{0};
    std::atomic<float> processorTemperature{0.0F};
    std::atomic<float> boardTemperature{0.0F};
    std::atomic<float> batteryVoltage{0.0F};
    std::atomic<float> batteryTemperature{0.0F};
    std::atomic<FrameHeader> frameHeader{FrameHeader{}};
    std::atomic<double> frameRate{0.0};
    std::atomic<std::uint32_t> cameraErrorCount{0};
    Mutex logMutex; // threads other than the sampling one call Flush()
};

} // namespace vantorel
