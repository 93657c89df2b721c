#pragma once

#include "vantorel/service/Error.h"
#include "vantorel/service/Export.h"

namespace vantorel {

class Logger;
class LoggerEntry;

/**
 * What the LoggerService reports, on its own thread.
 */
class VANTOREL_EXPORT LoggerObserver {
public:
    /** A sample was taken; it is written to the log after every observer returned. */
    virtual void OnLoggerNewEntry(Logger& logger, LoggerEntry& entry) = 0;
    /** Reserved; nothing sends it. */
    virtual void OnLoggerError(Logger& logger, Error& error) = 0;
    virtual ~LoggerObserver() = default;
};

} // namespace vantorel
