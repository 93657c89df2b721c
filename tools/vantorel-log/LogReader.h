#pragma once

#include "tools/vantorel-log/Columns.h"
#include "tools/vantorel-log/LineReader.h"

#include <string>

namespace vantorel::logtool {

/** Something in a log that is not as the device writes it. */
struct Problem {
    enum Kind {
        Heading,   ///< missing, repeated or another one
        Malformed, ///< a line that is no sample
        Torn,      ///< a line of which a power cut has left a part
        Order,     ///< sessions or times that go back
        kindCount
    };
    std::size_t line;
    Kind kind;
    std::string text;
};

/** Takes what a log holds, in the order of its lines. */
class LogReceiver {
public:
    virtual ~LogReceiver() = default;
    virtual void OnRecord(std::size_t line, const Record& record) = 0;
    virtual void OnProblem(const Problem& problem) = 0;
};

/**
 * Reads a log; goes on after everything that is wrong in it but for a heading of other columns:
 * nothing after that can be understood.
 * @return the number of lines
 * @throws std::system_error when the file cannot be read
 */
std::size_t ReadLog(const std::string& path, LogReceiver& receiver);

} // namespace vantorel::logtool
