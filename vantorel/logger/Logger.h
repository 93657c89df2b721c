#pragma once

#include "vantorel/logger/LoggerEntry.h"
#include "vantorel/service/CameraObserver.h"
#include "vantorel/service/FuelGaugeObserver.h"
#include "vantorel/service/ThermometerObserver.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <mutex>
#include <string>

namespace vantorel {

/**
 * The device's diagnostics log: the file "debug.csv" in a directory, one line a sample, with a
 * labelled copy of each line on standard output. It gathers the latest values that its subjects
 * report; a LoggerService takes the samples.
 *
 * Each run is a session. The file "session" beside the log holds the number of the last one; every
 * construction counts it up.
 *
 * Only thermometers named exactly "thermometer.board" and "thermometer.cpu" are recorded.
 *
 * The observer operations run on the threads of their subjects and may run while a sample is taken;
 * the frame header is exchanged as a whole. AddEntry() is thread-bound to whoever samples.
 */
class VANTOREL_EXPORT Logger final : public CameraObserver,
                                     public FuelGaugeObserver,
                                     public ThermometerObserver {
public:
    /**
     * @param directory prefix of the file names, so it ends with a slash; created when missing
     * @throws Error the directory's errno, or 5 (EIO) when "debug.csv" cannot be opened
     */
    explicit Logger(std::string directory);
    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;
    ~Logger() override;

    /** A sample of the values known at the moment. Thread-safe. */
    LoggerEntry CreateEntry() const;

    /**
     * Appends a line to "debug.csv" and prints it. The line is in the file's buffer, not flushed;
     * failures to write are not reported.
     * @param entry the sample
     * @param uptime of the sampling service; whole seconds of it are logged
     */
    void AddEntry(LoggerEntry& entry, std::chrono::milliseconds uptime);

    /**
     * Hands the lines that are still buffered, up to 8 KiB, to the file system: for the end of a
     * process that does not destroy its logger, and before the power is turned off. Thread-safe.
     */
    void Flush();

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

    void WriteColumnNames();
    void BeginSession();

    std::string logDirectory;
    std::uint32_t sessionId = 0;
    std::ofstream log;
    std::ofstream kernelLog; // only opened; nothing is written there yet
    std::ifstream sessionInput;
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
    std::mutex logMutex; // of the log stream: Flush() comes from other threads
};

} // namespace vantorel
