// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/logger/Logger.h"

#include "vantorel/camera/Camera.h"
#include "vantorel/devices/Thermometer.h"
#include "vantorel/service/Error.h"
#include "vantorel/service/private/ReadFile.h"
#include "vantorel/service/private/StatusLine.h"
#include "vantorel/service/private/WriteFile.h"
#include "vantorel/system/Tools.h"

#include <algorithm>
#include <cerrno>
#include <sstream>
#include <utility>

namespace vantorel {

Logger::Logger(std::string directory) : logDirectory(std::move(directory)) {
    kernelLog.open("/dev/kmsg");
    Tools::Mkdir(logDirectory);
    log.open(logDirectory + "debug.csv", std::ios::out | std::ios::app | std::ios::ate);
    if (log.fail()) {
        throw Error(EIO); // always: a stream does not promise an errno
    }
    if (log.tellp() == std::streampos(0)) {
        WriteColumnNames();
    }
    BeginSession();
}

Logger::~Logger() = default;

void Logger::WriteColumnNames() {
    // The last name has two percent signs. Kept: a program that reads the log may rely on it.
    log << "Session ID,Uptime (s),Uptime (ns),ChipID,FPA Frame Count,FPA Error Count,"
           "Framerate (fps),FPA Tdiode (Counts),FPA Temp (degC),FPA Spot Temp (degC),"
           "CPU Temp (degC),Board Temp (degC),Battery Temp (degC),Battery Voltage (V),"
           "Battery Current (+/- mA),Battery Level (%%)\n"
        << std::flush;
}

void Logger::BeginSession() {
    const std::string path = logDirectory + "session";
    std::istringstream text(ReadFileIfPossible(path));
    if (!(text >> sessionId)) {
        sessionId = 0; // the stream stores the largest number when the text exceeds it
    }
    ++sessionId;
    SaveFile(path, std::to_string(sessionId) + '\n');
}

LoggerEntry Logger::CreateEntry() const {
    LoggerEntry entry;
    entry.frameHeader = frameHeader.load();
    entry.frameRate = frameRate;
    entry.cameraErrorCount = cameraErrorCount;
    entry.batteryVoltage = batteryVoltage;
    entry.batteryTemperature = batteryTemperature;
    entry.batteryCurrent = batteryCurrent;
    entry.batteryLevel = batteryLevel;
    entry.boardTemperature = boardTemperature;
    entry.processorTemperature = processorTemperature;
    return entry;
}

void Logger::AddEntry(LoggerEntry& entry, std::chrono::milliseconds uptime) {
    const std::string session = std::to_string(sessionId);
    const std::string line = session + ',' + std::to_string(uptime.count() / 1000) + ',' +
                             entry.ToString(false, false, ",") + '\n';
    {
        // Add each line with one write: a full buffer then goes to the file together with the new
        // line, so the file ends with a whole line whenever the process is killed.
        const Lock lock(logMutex);
        log.write(line.data(), static_cast<std::streamsize>(line.size()));
    }
    PrintStatus("SESSION: ", session, " ", entry.ToString(true, true, " "));
}

void Logger::Flush() {
    const Lock lock(logMutex);
    log.flush();
}

void Logger::OnCameraFrameAvailable(Camera& camera, kirocamera_frame_t* frame) noexcept {
    kiroframe_t* image = nullptr;
    if (::kirocamera_frame_get_frame_by_format(frame, KIROCAMERA_FORMAT_DISPLAY, &image) == 0) {
        if (const std::uint8_t* header = ::kiroframe_get_header(image)) {
            FrameHeader copy{};
            const std::size_t size =
                std::min<std::size_t>(::kiroframe_get_header_size(image), copy.size());
            std::copy_n(header, size, copy.begin());
            frameHeader.store(copy);
        }
    }
    // Updated for every frame: the rate also counts frames that cannot be converted.
    frameRate = camera.FrameRate();
}

void Logger::OnCameraError(Camera&, kirocamera_error_t) {
    ++cameraErrorCount;
}

void Logger::OnFuelGaugeLevelQuery(FuelGauge&, std::uint8_t level) {
    batteryLevel = level;
}
void Logger::OnFuelGaugeCurrentQuery(FuelGauge&, std::int16_t current) {
    batteryCurrent = current;
}
void Logger::OnFuelGaugeVoltageQuery(FuelGauge&, float voltage) {
    batteryVoltage = voltage;
}
void Logger::OnFuelGaugeTemperatureQuery(FuelGauge&, float temperature) {
    batteryTemperature = temperature;
}
void Logger::OnFuelGaugeError(FuelGauge&, Error&) {}

void Logger::OnThermometerTemperatureQuery(Thermometer& thermometer, float temperature) {
    if (thermometer.Name() == "thermometer.board") {
        boardTemperature = temperature;
    } else if (thermometer.Name() == "thermometer.cpu") {
        processorTemperature = temperature;
    }
}

void Logger::OnThermometerError(Thermometer&, Error&) {}

} // namespace vantorel
