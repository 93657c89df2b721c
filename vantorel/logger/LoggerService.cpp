// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#include "vantorel/logger/LoggerService.h"

#include "vantorel/logger/Logger.h"

namespace vantorel {

LoggerService::LoggerService(Logger& sampled, std::chrono::milliseconds pause)
    : Service(pause), logger(sampled) {}

LoggerService::~LoggerService() {
    Stop();
}

void LoggerService::OnConnectionStateChanged(ConnectionState newState,
                                             ConnectionState oldState) noexcept {
    if (IsStartOnBattery(newState, oldState)) {
        Start(); // and never stops: the log covers the whole run
    }
}

void LoggerService::OnConnectionError(Error&) {}

void LoggerService::ServiceFunction() {
    LoggerEntry entry = logger.CreateEntry();
    observers.Notify(&LoggerObserver::OnLoggerNewEntry, logger, entry);
    logger.AddEntry(entry, uptime);
    uptime += Interval();
}

} // namespace vantorel
