// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
#pragma once

#include "vantorel/service/Error.h"
#include "vantorel/service/Export.h"

namespace vantorel {

class Logger;
class LoggerEntry;

/**
 * Receives what the LoggerService reports, on the service's thread. An observer may be
 * thread-bound.
 */
class VANTOREL_EXPORT LoggerObserver {
public:
    /** The service took a sample. It writes it to the log after every observer has returned. */
    virtual void OnLoggerNewEntry(Logger& logger, LoggerEntry& entry) = 0;
    /** Reserved; never called. */
    virtual void OnLoggerError(Logger& logger, Error& error) = 0;
    virtual ~LoggerObserver() = default;
};

} // namespace vantorel
